#!/usr/bin/env bash
# One command from a fresh Debian 12 machine to the demo: installs, builds, runs `qnsnwsm demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr >/dev/null  # as scripts/test.sh
cmake --build build -j"$(nproc)" --target qnsnwsm-cli qnsnwsm-sim
exec build/tools/qnsnwsm/qnsnwsm demo "$@"
