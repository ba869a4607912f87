#!/usr/bin/env bash
# Builds qnsnwsm.dll with mingw-w64 and runs its tests under Wine in a fresh prefix.
#
#   scripts/test-windows.sh [build-folder]        (default: build-win beside this script's tree)
#
# Steps: install the cross compiler and Wine (Debian packages), configure and build with the toolchain file,
# check that the DLL imports only system DLLs and exports the 34 functions, create a new 64-bit Wine prefix,
# run the tests (the DLL without WinRM, then with the fake WSMan class registered), stop Wine. The last line
# is "N passed, N failed"; the exit status is 0 only when nothing failed.
set -u -o pipefail

source_dir="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build_dir="$(realpath -m "${1:-$source_dir/build-win}")"  # Wine wants an absolute prefix path
test_dir="$build_dir/tests/windows"
dll="$build_dir/src/api/qnsnwsm.dll"
mingw=x86_64-w64-mingw32

passed=0
failed=0
fail() {
    echo "FAIL: $*"
    failed=$((failed + 1))
}
finish() {
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
    exit
}

# 1. Tools.
if ! command -v "$mingw-g++-posix" >/dev/null || ! command -v wine >/dev/null; then
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -o DPkg::Lock::Timeout=600 >/dev/null &&
        apt-get install -y --no-install-recommends -o DPkg::Lock::Timeout=600 \
            g++-mingw-w64-x86-64-posix wine wine64 >/dev/null ||
        { fail "installing mingw-w64 and Wine"; finish; }
fi

# 2. Build.
cmake -S "$source_dir" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$source_dir/cmake/mingw-w64-x86_64.cmake" >/dev/null &&
    cmake --build "$build_dir" -j2 || { fail "building qnsnwsm.dll"; finish; }

# 3. The DLL as a host sees it: system imports only, the 34 undecorated exports.
imports="$("$mingw-objdump" -p "$dll" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z' | sort | tr '\n' ' ')"
if [ "$imports" = "advapi32.dll kernel32.dll msvcrt.dll ole32.dll oleaut32.dll " ]; then
    passed=$((passed + 1))
else
    fail "qnsnwsm.dll imports: $imports"
fi
names="$("$mingw-objdump" -p "$dll" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | grep -E '^\s*\[ *[0-9]+\] ')"
exports="$(printf '%s\n' "$names" | grep -cE '\] WSMan[A-Za-z]+$')"
total="$(printf '%s\n' "$names" | grep -c .)"
if [ "$exports" = 34 ] && [ "$total" = 34 ]; then
    passed=$((passed + 1))
else
    fail "qnsnwsm.dll exports $total names, $exports of them WSMan*"
fi

# 4. A fresh Wine prefix, headless and without Mono/Gecko.
unset DISPLAY
export WINEPREFIX="$build_dir/wineprefix" WINEARCH=win64 WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree=;mshtml=;winemenubuilder.exe=d"
rm -rf "$WINEPREFIX"
timeout 300 wine wineboot --init >/dev/null 2>&1
timeout 120 wineserver -w

# Runs one test program; adds its "N passed, N failed" line to the totals.
run_tests() {
    local output
    output="$(timeout 300 wine "$@" 2>&1)"
    local status=$?
    echo "$output"
    local summary
    summary="$(printf '%s\n' "$output" | grep -E '^[0-9]+ passed, [0-9]+ failed' | tail -1)"
    if [ -z "$summary" ]; then
        fail "$* ended without a summary (exit status $status)"
        return
    fi
    passed=$((passed + $(echo "$summary" | cut -d' ' -f1)))
    failed=$((failed + $(echo "$summary" | cut -d' ' -f3)))
}

run_tests "$test_dir/windows_platform_tests.exe"
run_tests "$test_dir/windows_dll_tests.exe" Dll
fake="$(winepath -w "$test_dir/fake_wsman/fake_wsman.dll" 2>/dev/null)"
if timeout 60 wine regsvr32 /s "$fake" >/dev/null 2>&1; then
    run_tests "$test_dir/windows_dll_tests.exe" Fake
    timeout 60 wine regsvr32 /u /s "$fake" >/dev/null 2>&1
else
    fail "registering the fake WSMan class"
fi

timeout 60 wineserver -k
finish
