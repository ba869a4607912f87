#!/usr/bin/env bash
# The Debian packages as a user gets them: built by one CPack run from a /usr build, checked by lintian,
# installed with apt, the installed demo and a C host program built with pkg-config run, then purged.
#
#   scripts/test-packages.sh [build-folder]     (default build-pkg; needs root or sudo for apt-get)
#
# An existing build folder (scripts/test.sh passes its tested Release build) is reused with the /usr prefix, so
# the packaged files are the tested ones and nothing is compiled twice; a new one builds without the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD
build=${1:-build-pkg}
step() { echo "-- $* (at ${SECONDS} s)"; }
sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
apt_get() { $sudo_cmd env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 "$@"; }
packages=(libqnsnwsm1 libqnsnwsm-dev qnsnwsm qnsnwsm-sim)

step "packaging tools"
tools=(lintian file dpkg-dev)
missing=()
for p in "${tools[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  apt_get update -qq
  apt_get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

step "build for /usr"
if [ -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_INSTALL_PREFIX=/usr >/dev/null
else
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
        -DQNSNWSM_BUILD_TESTS=OFF -DQNSNWSM_BUILD_BENCH=OFF >/dev/null
fi
cmake --build "$build" -j"$(nproc)" | tail -1

step "packages"
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB -B "$PWD/packages" >/dev/null)
debs=("$build"/packages/*.deb)
((${#debs[@]} == 4)) || { echo "expected 4 packages, got: ${debs[*]}"; exit 1; }
for deb in "${debs[@]}"; do echo "   $(basename "$deb"): $(dpkg-deb -f "$deb" Depends)"; done

step "lintian"
lintian --fail-on error --suppress-tags-from-file packaging/deb/lintian-suppressed "${debs[@]}"

scratch=$(mktemp -d)
cleanup() {
  apt_get purge -y -qq "${packages[@]}" >/dev/null 2>&1 || true
  rm -rf "$scratch"
}
trap cleanup EXIT

step "apt-get install"
apt_get install -y -qq --no-install-recommends "${debs[@]/#/$source_dir/}" >/dev/null
dpkg-query -W -f='${Conffiles}\n' qnsnwsm | grep -q "/etc/qnsnwsm/registry.conf" ||
  { echo "/etc/qnsnwsm/registry.conf is not a conffile"; exit 1; }

step "installed demo from /usr/bin"
cd "$scratch"
[ "$(command -v qnsnwsm)" = /usr/bin/qnsnwsm ]
/usr/bin/qnsnwsm --version
timeout 300 /usr/bin/qnsnwsm demo -q >demo.out || { cat demo.out; exit 1; }
# Every check of the workstation profile answers: a stylesheet the installed library cannot find fails most.
grep -Eq '^ *([0-9]+) of \1 checks completed' demo.out || { cat demo.out; exit 1; }
tail -1 demo.out

step "C host program built with pkg-config"
cat >host.c <<'C'
#include <qnsnwsm.h>
#include <stdio.h>
#include <stdlib.h>

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    QNSNWSM_HANDLE h = NULL;
    char error[512] = "";
    if (WSManInitialize("package-test", "", &h) != 0) return 1;
    uint32_t available = 0, committed = 0, pages = 0;
    int failed = WSManConnectToComputer(h, argv[1], argv[3], argv[4], "root\\cimv2", (uint32_t)atoi(argv[2]),
                                        0, 0, error, sizeof error) != 0 ||
                 WSManGetMemory(h, &available, &committed, &pages, error, sizeof error) != 0;
    if (!failed) printf("available %u MB, committed %u MB\n", available, committed);
    else fprintf(stderr, "%s\n", error);
    WSManDisconnectComputer(h);
    WSManShutdown(h);
    return failed;
}
C
# shellcheck disable=SC2046
cc -Wall -Werror -o host host.c $(pkg-config --cflags --libs qnsnwsm)
printf 'LAB:monitor:Passw0rd-1\n' >users.txt
/usr/bin/qnsnwsm-sim --port 0 --users users.txt >sim.out 2>&1 &
sim=$!
for _ in $(seq 100); do grep -q listening sim.out && break; sleep 0.1; done
port=$(sed -n 's/.*listening on 127.0.0.1:\([0-9]*\).*/\1/p' sim.out)
# No configuration beyond the package's: the stylesheets come from the installed data folder.
QNSNWSM_STATE=$scratch/state.conf timeout 60 ./host 127.0.0.1 "$port" 'LAB\monitor' Passw0rd-1 || {
  kill $sim; exit 1; }
kill $sim
cd "$source_dir"

step "purge"
cleanup
trap - EXIT
for path in /etc/qnsnwsm /usr/bin/qnsnwsm /usr/share/qnsnwsm; do
  [ ! -e "$path" ] || { echo "$path left after purge"; exit 1; }
done
echo "packages built, lint-clean, installed, run and purged in ${SECONDS} s"
