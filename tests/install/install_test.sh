#!/usr/bin/env bash
# Installs the build to a scratch prefix under DESTDIR and checks that every file landed below it (the
# configuration file and the pkg-config file included), that the installed front end finds its library
# through its run path and, with no configuration file at all, its stylesheets in the installed data folder.
set -euo pipefail
build=$1
scratch=$(mktemp -d)
sim=""
trap '[ -n "$sim" ] && kill "$sim" 2>/dev/null; rm -rf "$scratch"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

prefix=/opt/qnsnwsm-test
root=$scratch/root
DESTDIR=$root cmake --install "$build" --prefix "$prefix" >/dev/null
while read -r file; do
  [[ $file == "$prefix/"* ]] || fail "installed outside the prefix: $file"
done <"$build/install_manifest.txt"
outside=$(find "$root" -not -type d -not -path "$root$prefix/*")
[ -z "$outside" ] || fail "written outside the prefix: $outside"
installed=$root$prefix
[ -f "$installed/etc/qnsnwsm/registry.conf" ] || fail "no configuration file below the prefix"
pc=$(find "$installed" -name qnsnwsm.pc)
libdir=$(dirname "$(dirname "$pc")")
[ "$(PKG_CONFIG_PATH=${pc%/*} pkg-config --variable=includedir qnsnwsm)" = "$prefix/include" ] ||
  fail "pkg-config names another prefix: $(cat "$pc")"

# Run from the installed tree, with the build's library out of the loader's way.
cd "$scratch"
version=$(env -u LD_LIBRARY_PATH "$installed/bin/qnsnwsm" --version)
[[ $version == *"$libdir/libqnsnwsm.so."* ]] || fail "the front end loaded another library: $version"

printf 'LAB:monitor:Passw0rd-1\n' >users.txt
"$installed/bin/qnsnwsm-sim" --port 0 --users users.txt >sim.out 2>&1 &
sim=$!
for _ in $(seq 100); do grep -q listening sim.out && break; sleep 0.1; done
port=$(sed -n 's/.*listening on 127.0.0.1:\([0-9]*\).*/\1/p' sim.out)
[ -n "$port" ] || fail "the installed simulator did not start: $(cat sim.out)"
QNSNWSM_REGISTRY=$scratch/none.conf QNSNWSM_STATE=$scratch/state/state.conf QNSNWSM_PASSWORD=Passw0rd-1 \
  "$installed/bin/qnsnwsm" -t 60 -q -c 127.0.0.1 -p "$port" -u 'LAB\monitor' services >services.out 2>&1 ||
  fail "services without a configuration file: $(cat services.out)"
[ ! -e none.conf ] || fail "the module created the configuration file"
echo "installed to $prefix under DESTDIR; the installed front end runs with no configuration file"
