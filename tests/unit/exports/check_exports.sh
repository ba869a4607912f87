#!/usr/bin/env bash
# The shared library exports exactly the 34 WSMan* functions, undecorated, and has a SONAME.
set -euo pipefail
library="$1"
expected="$2"
actual="$(nm -D --defined-only "$library" | awk '$2 == "T" { print $3 }' | sort)"
if ! diff <(sort "$expected") <(printf '%s\n' "$actual"); then
  echo "exported functions differ from the expected 34 (< expected, > exported)"
  exit 1
fi
# Read whole before matching: grep -q would stop early and fail objdump (and the pipe) with SIGPIPE.
headers="$(objdump -p "$library")"
grep -q 'SONAME *libqnsnwsm\.so\.1' <<<"$headers" || { echo "no SONAME libqnsnwsm.so.1"; exit 1; }
echo "34 exports, SONAME libqnsnwsm.so.1"
