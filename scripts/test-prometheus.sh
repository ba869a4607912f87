#!/usr/bin/env bash
# A real Prometheus scrapes the exporter: Debian's prometheus starts on loopback with a multi-target
# configuration (the workstation and unhealthy simulators behind the exporter) and its query API must show the
# expected values. Needs a build tree with qnsnwsm-exporter and qnsnwsm-sim (default build/, or $1).
set -euo pipefail
cd "$(dirname "$0")/.."
build="${1:-build}"

if ! command -v prometheus >/dev/null; then
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  # The package's own service must not start: a policy layer refuses it for the length of the install.
  policy=/usr/sbin/policy-rc.d
  made_policy=0
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | $sudo_cmd tee "$policy" >/dev/null
    $sudo_cmd chmod 755 "$policy"
    made_policy=1
  fi
  export DEBIAN_FRONTEND=noninteractive
  installed=1
  $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 update -qq || true
  $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends prometheus >/dev/null ||
    installed=0
  [ "$made_policy" = 1 ] && $sudo_cmd rm -f "$policy"
  if [ "$installed" = 0 ] || ! command -v prometheus >/dev/null; then
    echo "SKIP: Debian's prometheus package cannot be installed here"
    exit 0
  fi
fi
# Where systemd runs, the packaged service stays stopped and disabled.
if [ -d /run/systemd/system ] && systemctl is-enabled --quiet prometheus 2>/dev/null; then
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  $sudo_cmd systemctl disable --now prometheus >/dev/null 2>&1 || true
fi

exec timeout 300 python3 tests/unit/exporter/prometheus_test.py "$build/tools/exporter/qnsnwsm-exporter" \
  "$build/sim/qnsnwsm-sim" share/qnsnwsm
