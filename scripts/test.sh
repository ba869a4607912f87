#!/usr/bin/env bash
# One command from a fresh Debian 12 machine to a tested tree: installs, builds, runs every suite.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
jobs=$(nproc)

echo "== build (RelWithDebInfo)"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$jobs"
echo "== tests"
ctest --test-dir build --output-on-failure -j"$jobs" --timeout 300

if [ "${QNSNWSM_SKIP_SANITIZERS:-0}" != 1 ]; then
  echo "== build (ASan+UBSan)"
  cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=Debug -DQNSNWSM_SANITIZE=address,undefined \
        -DQNSNWSM_BUILD_TOOLS=OFF >/dev/null
  cmake --build build-asan -j"$jobs"
  echo "== tests (ASan+UBSan)"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 600 -LE no-sanitizer
fi
