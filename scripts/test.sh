#!/usr/bin/env bash
# One command from a fresh Debian 12 machine to a tested tree: installs, builds, runs every suite.
#
#   0. the include-direction check (scripts/check-include-direction.sh): the layers hold;
#   1. the whole suite on an optimised build (unit, end-to-end against the simulator, fuzz corpus replays,
#      reliability, the front end, the exporter), a monitoring core running the plugin
#      (scripts/test-nagios.sh), Debian's Prometheus scraping the exporter (scripts/test-prometheus.sh),
#      the demo's full run of every check and action under valgrind,
#      then the Debian packages built, linted, installed, run and purged (scripts/test-packages.sh);
#   2. the same suite built with AddressSanitizer and UndefinedBehaviorSanitizer;
#   3. the end-to-end suite (many handles on many threads) built with ThreadSanitizer;
#   4. the fuzz targets built with clang (sanitised) and each run briefly on its corpus;
#   5. qnsnwsm.dll cross-built with mingw-w64 and tested under Wine (scripts/test-windows.sh).
#
# QNSNWSM_SKIP_SANITIZERS=1, QNSNWSM_SKIP_FUZZ=1 and QNSNWSM_SKIP_WINDOWS=1 leave stages out for a quicker
# local run; QNSNWSM_FUZZ_SECONDS sets how long each fuzz target runs (default 20).
set -euo pipefail
cd "$(dirname "$0")/.."
stage() { echo "== $* (at ${SECONDS} s)"; }
trap 'echo "== finished after ${SECONDS} s"' EXIT
scripts/install-deps.sh
jobs=$(nproc)

stage "include direction (the layers)"
scripts/check-include-direction.sh
suppressions="$PWD/tests/lsan-suppressions.txt"

stage "build (Release)"
# Configured for /usr: the Debian packages are made from this tested build. The benchmarks are built, not run
# (their numbers need a quiet machine: bench/run.sh), so that they keep compiling.
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr -DQNSNWSM_BUILD_BENCH=ON >/dev/null
cmake --build build -j"$jobs"
stage "tests"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 600
stage "monitoring core: nagios4 runs check_qnsnwsm, icinga2 validates its CheckCommand"
scripts/test-nagios.sh build
stage "Prometheus scrapes the exporter"
scripts/test-prometheus.sh build

stage "valgrind: the demo's full run"
# Only the security libraries' one-time allocations are suppressed (tests/valgrind.supp).
valgrind --quiet --num-callers=40 --suppressions=tests/valgrind.supp --leak-check=full \
         --errors-for-leak-kinds=definite,indirect --error-exitcode=99 build/tools/qnsnwsm/qnsnwsm demo >/dev/null

stage "Debian packages: lintian, apt install, installed demo and C host, purge"
scripts/test-packages.sh build

if [ "${QNSNWSM_SKIP_SANITIZERS:-0}" != 1 ]; then
  stage "build (ASan+UBSan)"
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQNSNWSM_SANITIZE=address,undefined \
        -DQNSNWSM_BUILD_TOOLS=OFF >/dev/null
  cmake --build build-asan -j"$jobs"
  stage "tests (ASan+UBSan)"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 \
  LSAN_OPTIONS="suppressions=$suppressions:print_suppressions=0" \
  UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 900 -LE no-sanitizer

  stage "build (TSan, end-to-end suite)"
  cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DQNSNWSM_SANITIZE=thread \
        -DQNSNWSM_BUILD_TOOLS=OFF >/dev/null
  cmake --build build-tsan -j"$jobs" --target e2e_tests
  stage "tests (TSan)"
  TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1 build-tsan/tests/e2e/e2e_tests
fi

if [ "${QNSNWSM_SKIP_FUZZ:-0}" != 1 ]; then
  stage "build (fuzz targets, clang)"
  fuzz_targets=(wsman_soap wsman_security parsing sim_request sim_wql)
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DQNSNWSM_BUILD_FUZZ=ON -DQNSNWSM_BUILD_TOOLS=OFF >/dev/null
  cmake --build build-fuzz -j"$jobs" --target "${fuzz_targets[@]/%/_fuzz}"
  stage "fuzz (${QNSNWSM_FUZZ_SECONDS:-20} s per target)"
  # Each target starts from a scratch copy of its corpus (new inputs go there, not into the tree); a
  # finding stops the run with the input saved in the scratch folder and its path printed.
  fuzz_scratch=$(mktemp -d)
  for target in "${fuzz_targets[@]}"; do
    mkdir -p "$fuzz_scratch/$target"
    cp tests/fuzz/"$target"/corpus/* "$fuzz_scratch/$target/"
    seeds=()
    if [ -d ../shared/fixtures/windows ] && [[ $target != sim_* ]]; then seeds=(../shared/fixtures/windows); fi
    if ! ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
         LSAN_OPTIONS="suppressions=$suppressions:print_suppressions=0" \
         build-fuzz/tests/fuzz/"$target"/"$target"_fuzz -max_total_time="${QNSNWSM_FUZZ_SECONDS:-20}" \
           -timeout=10 -rss_limit_mb=2048 -max_len=65536 -artifact_prefix="$fuzz_scratch/$target-" \
           "$fuzz_scratch/$target" "${seeds[@]}" >"$fuzz_scratch/$target.log" 2>&1; then
      tail -n 60 "$fuzz_scratch/$target.log"
      echo "fuzz target $target found a fault; its input is in $fuzz_scratch"
      exit 1
    fi
    echo "$target: $(grep -E '^#[0-9]+' "$fuzz_scratch/$target.log" | tail -n 1)"
  done
  rm -rf "$fuzz_scratch"
fi

if [ "${QNSNWSM_SKIP_WINDOWS:-0}" != 1 ]; then
  stage "qnsnwsm.dll under Wine"
  scripts/test-windows.sh build-windows
fi
