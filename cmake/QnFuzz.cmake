# qn_add_fuzz_target(NAME name SOURCES ... LIBRARIES ... [INSTRUMENT lib...] [INCLUDES dir...]
#                    [DEFINITIONS def...] CORPUS dir...)
#
# With clang and QNSNWSM_BUILD_FUZZ=ON: a libFuzzer executable `<name>_fuzz`. The INSTRUMENT libraries (the
# code under test) get coverage feedback, so the fuzzer sees inside the parsers, and AddressSanitizer and
# UndefinedBehaviorSanitizer, so a bad read or an overflow in them is a finding and not a silent pass;
# whatever links them links the sanitizer runtimes too. Otherwise: `<name>_corpus_replay`, which runs every
# file of the CORPUS folders through the same entry point, registered as a test.
# SOURCES must define LLVMFuzzerTestOneInput.
set(QN_FUZZ_SANITIZERS -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
function(qn_add_fuzz_target)
  cmake_parse_arguments(FUZZ "" "NAME" "SOURCES;LIBRARIES;INSTRUMENT;INCLUDES;DEFINITIONS;CORPUS" ${ARGN})
  if(QNSNWSM_BUILD_FUZZ AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(target ${FUZZ_NAME}_fuzz)
    foreach(library IN LISTS FUZZ_INSTRUMENT)
      target_compile_options(${library} PRIVATE -fsanitize=fuzzer-no-link ${QN_FUZZ_SANITIZERS})
      target_link_options(${library} INTERFACE -fsanitize=address,undefined)
    endforeach()
    add_executable(${target} ${FUZZ_SOURCES})
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer ${QN_FUZZ_SANITIZERS})
    target_link_options(${target} PRIVATE -fsanitize=fuzzer,address,undefined)
  else()
    set(target ${FUZZ_NAME}_corpus_replay)
    add_executable(${target} ${FUZZ_SOURCES} ${PROJECT_SOURCE_DIR}/tests/fuzz/common/CorpusReplay.cpp)
    add_test(NAME ${target} COMMAND ${target} ${FUZZ_CORPUS})
  endif()
  target_include_directories(${target} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR} ${FUZZ_INCLUDES})
  target_compile_definitions(${target} PRIVATE ${FUZZ_DEFINITIONS})
  target_link_libraries(${target} PRIVATE ${FUZZ_LIBRARIES})
  qn_set_warnings(${target})
endfunction()
