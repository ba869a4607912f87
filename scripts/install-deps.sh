#!/usr/bin/env bash
# Installs every Debian 12 package the build, the tests and the demo need. Safe to run again.
set -euo pipefail
packages=(
  build-essential cmake ninja-build pkg-config git
  libcurl4-openssl-dev libssl-dev libxml2-dev libxslt1-dev
  libkrb5-dev gss-ntlmssp gss-ntlmssp-dev krb5-user krb5-kdc krb5-admin-server
  libmicrohttpd-dev libgnutls28-dev nlohmann-json3-dev libyaml-cpp-dev
  libgtest-dev libgmock-dev libbenchmark-dev libcli11-dev libpugixml-dev
  python3 python3-winrm python3-ntlm-auth python3-requests-ntlm
  clang libclang-rt-14-dev valgrind openssl scdoc
)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo_cmd=""
  [ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 update -qq
  $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 install -y -qq --no-install-recommends "${missing[@]}"
fi
