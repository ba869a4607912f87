#!/usr/bin/env bash
# One command from a fresh Debian 12 machine to the demo: installs, builds, runs `qnsnwsm demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null  # the build the test command uses too
cmake --build build -j"$(nproc)" --target qnsnwsm-cli qnsnwsm-sim
exec build/tools/qnsnwsm/qnsnwsm demo "$@"
