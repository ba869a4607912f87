#!/usr/bin/env bash
# A real monitoring core runs check_qnsnwsm: Debian's nagios4 checks two simulated computers (healthy and in
# trouble) through the installed plugin and the shipped Nagios command definitions; the states, plugin output
# and perfdata are read back from the core's own status.dat. icinga2 validates the shipped CheckCommand.
#
#   scripts/test-nagios.sh [BUILD_DIR]      (default build; the tree must be built)
#
# Skips with a message only where the core's package cannot be installed. Nothing is left running and no
# system service stays enabled by the packages this script installs.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build}")
work=$(mktemp -d /tmp/qnsnwsm-nagios.XXXXXX)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT

# --- the cores, installed without starting or enabling a service ----------------------------------------------
sudo_cmd=""
[ "$(id -u)" -eq 0 ] || sudo_cmd="sudo"
stop_and_disable() {
  $sudo_cmd systemctl disable "$1" >/dev/null 2>&1 || true
  $sudo_cmd systemctl stop "$1" >/dev/null 2>&1 || true
}
install_quietly() {
  local missing=()
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
  done
  ((${#missing[@]})) || return 0
  local enabled_before policy_created=0
  enabled_before=$(systemctl list-unit-files --state=enabled --no-legend 2>/dev/null | awk '{print $1}'; ls /etc/rc2.d 2>/dev/null)
  if [ ! -e /usr/sbin/policy-rc.d ]; then
    # Package scripts ask invoke-rc.d before they start a daemon; 101 says no.
    printf '#!/bin/sh\nexit 101\n' | $sudo_cmd tee /usr/sbin/policy-rc.d >/dev/null
    $sudo_cmd chmod 755 /usr/sbin/policy-rc.d
    policy_created=1
  fi
  local status=0
  DEBIAN_FRONTEND=noninteractive $sudo_cmd apt-get -o DPkg::Lock::Timeout=600 install -y -qq \
    --no-install-recommends "${missing[@]}" >"$work/apt.log" 2>&1 || status=$?
  [ "$policy_created" = 0 ] || $sudo_cmd rm -f /usr/sbin/policy-rc.d
  # Whatever the packages enabled for the next boot is disabled again: this is a test, not a monitoring host.
  local unit
  for unit in $(systemctl list-unit-files --state=enabled --no-legend 2>/dev/null | awk '{print $1}'); do
    grep -qxF "$unit" <<<"$enabled_before" || stop_and_disable "$unit"
  done
  for unit in $(ls /etc/rc2.d 2>/dev/null | sed -n 's/^S[0-9]*//p'); do
    grep -q "^S[0-9]*$unit\$" <<<"$enabled_before" || stop_and_disable "$unit"
  done
  return "$status"
}
# nagios4-core is the core alone (no web interface, no Apache); icinga2-bin is enough for "icinga2 daemon -C".
if ! install_quietly nagios4-core; then
  echo "SKIP: Debian's nagios4-core could not be installed:"; tail -5 "$work/apt.log"; exit 0
fi
have_icinga=1
install_quietly icinga2-bin icinga2-common || { have_icinga=0; echo "icinga2 could not be installed: CheckCommand not validated"; tail -3 "$work/apt.log"; }

# --- the plugin and its definitions, installed as a package would place them ---------------------------------
prefix="$work/prefix"
for component in runtime tools; do
  cmake --install "$build" --prefix "$prefix" --component "$component" >/dev/null
done
plugin_dir="$prefix/lib/nagios/plugins"
[ -x "$plugin_dir/check_qnsnwsm" ] || { echo "FAIL: check_qnsnwsm is not installed to lib/nagios/plugins"; exit 1; }
"$plugin_dir/check_qnsnwsm" --version >/dev/null || [ $? -eq 3 ] || { echo "FAIL: the installed plugin does not run"; exit 1; }

# --- two simulated computers ------------------------------------------------------------------------------
printf 'LAB:monitor:Passw0rd-1\n' >"$work/users.txt"
printf 'Passw0rd-1\n' >"$work/password"
chmod 600 "$work/password"
printf '[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/share/qnsnwsm/\n\n[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nAuthScheme=NTLM\n' \
  "$prefix" >"$work/registry.conf"
declare -A port
for profile in workstation unhealthy; do
  "$build/sim/qnsnwsm-sim" --port 0 --profile "$profile" --users "$work/users.txt" >"$work/$profile.out" 2>&1 &
  pids+=($!)
  for _ in $(seq 100); do grep -q "listening on" "$work/$profile.out" && break; sleep 0.1; done
  port[$profile]=$(sed -n 's/.*listening on 127.0.0.1:\([0-9]*\).*/\1/p' "$work/$profile.out")
  [ -n "${port[$profile]}" ] || { echo "FAIL: the $profile simulator did not start"; cat "$work/$profile.out"; exit 1; }
done

# --- nagios: a private configuration, run in the foreground of this script -----------------------------------
mkdir -p "$work/checkresults"
cat >"$work/nagios.cfg" <<CFG
log_file=$work/nagios.log
cfg_file=$prefix/share/qnsnwsm/nagios/qnsnwsm.cfg
cfg_file=$work/objects.cfg
resource_file=$work/resource.cfg
status_file=$work/status.dat
status_update_interval=1
object_cache_file=$work/objects.cache
precached_object_file=$work/objects.precache
temp_file=$work/nagios.tmp
temp_path=$work
lock_file=$work/nagios.lock
check_result_path=$work/checkresults
retain_state_information=0
state_retention_file=$work/retention.dat
check_external_commands=0
command_file=$work/nagios.cmd
nagios_user=$(id -un)
nagios_group=$(id -gn)
enable_notifications=0
execute_host_checks=0
service_inter_check_delay_method=n
max_service_check_spread=1
check_result_reaper_frequency=1
service_check_timeout=60
log_rotation_method=n
interval_length=60
CFG
printf '$USER1$=%s\n' "$plugin_dir" >"$work/resource.cfg"
{
  cat <<OBJ
define timeperiod {
    timeperiod_name always
    alias           always
    sunday 00:00-24:00
    monday 00:00-24:00
    tuesday 00:00-24:00
    wednesday 00:00-24:00
    thursday 00:00-24:00
    friday 00:00-24:00
    saturday 00:00-24:00
}
define command {
    command_name notify-nobody
    command_line /bin/true
}
define contact {
    contact_name                  nobody
    host_notification_period      always
    service_notification_period   always
    host_notification_options     n
    service_notification_options  n
    host_notification_commands    notify-nobody
    service_notification_commands notify-nobody
}
OBJ
  for host in workstation unhealthy; do
    cat <<OBJ
define host {
    host_name              $host
    address                127.0.0.1
    max_check_attempts     1
    check_period           always
    notification_period    always
    contacts               nobody
    _QNSNWSM_USER          LAB\\monitor
    _QNSNWSM_PASSWORD_FILE $work/password
    _QNSNWSM_OPTIONS       -p ${port[$host]} --config $work/registry.conf
}
OBJ
    while IFS='|' read -r description command; do
      cat <<OBJ
define service {
    host_name             $host
    service_description   $description
    check_command         $command
    max_check_attempts    1
    check_interval        60
    retry_interval        1
    check_period          always
    notification_period   always
    notification_interval 0
    contacts              nobody
}
OBJ
    done <<'SERVICES'
cpu|check_qnsnwsm_cpu!50!60
memory|check_qnsnwsm_memory!!
disk C|check_qnsnwsm_disk_space!C:!!
disks|check_qnsnwsm_disks
spooler|check_qnsnwsm_service!Spooler
share Scans|check_qnsnwsm!share!-a Scans
SERVICES
  done
} >"$work/objects.cfg"

/usr/sbin/nagios4 -v "$work/nagios.cfg" >"$work/verify.log" 2>&1 || { echo "FAIL: nagios4 refuses the configuration"; cat "$work/verify.log"; exit 1; }
/usr/sbin/nagios4 "$work/nagios.cfg" >"$work/nagios.out" 2>&1 &
pids+=($!)

# --- the first results, read back from status.dat ------------------------------------------------------------
python3 - "$work/status.dat" <<'PY'
import re, sys, time
path = sys.argv[1]
expected = {  # (host, service): (state, status-line start, perfdata part)
    ("workstation", "cpu"): (0, "QNSNWSM CPU OK", "'usage'="),
    ("workstation", "memory"): (0, "QNSNWSM MEMORY OK", "'available_pct'=48.81%;10:;5:"),
    ("workstation", "disk C"): (0, "QNSNWSM DISK-SPACE OK", "'C: free_pct'="),
    ("workstation", "disks"): (0, "QNSNWSM DISKS OK", ""),
    ("workstation", "spooler"): (0, "QNSNWSM SERVICE OK - Spooler (Print Spooler) is Running", ""),
    ("workstation", "share Scans"): (0, "QNSNWSM SHARE OK", ""),
    ("unhealthy", "cpu"): (2, "QNSNWSM CPU CRITICAL", "'usage'="),
    ("unhealthy", "memory"): (2, "QNSNWSM MEMORY CRITICAL - 384 MB available", "'available'=384MB"),
    ("unhealthy", "disk C"): (2, "QNSNWSM DISK-SPACE CRITICAL - C: 1228 MB free", "'C: free_pct'=0.52%;10:;5:;0;100"),
    ("unhealthy", "disks"): (2, "QNSNWSM DISKS CRITICAL - disk ST1000DM010-2EP102 is Degraded", ""),
    ("unhealthy", "spooler"): (2, "QNSNWSM SERVICE CRITICAL - Spooler (Print Spooler) is Stopped", ""),
    ("unhealthy", "share Scans"): (2, "QNSNWSM SHARE CRITICAL - share Scans does not exist", ""),
}

def read_status():
    try:
        text = open(path).read()
    except OSError:
        return {}
    found = {}
    for block in re.findall(r"servicestatus \{\n(.*?)\n\s*\}", text, re.S):
        fields = dict(line.strip().split("=", 1) for line in block.splitlines() if "=" in line)
        if fields.get("has_been_checked") == "1":
            found[(fields["host_name"], fields["service_description"])] = fields
    return found

deadline = time.monotonic() + 180
while True:
    status = read_status()
    if all(key in status for key in expected) or time.monotonic() > deadline:
        break
    time.sleep(1)
failures = []
for key, (state, start, perf) in expected.items():
    fields = status.get(key)
    if fields is None:
        failures.append("%s/%s: no result within 180 s" % key)
        continue
    if (int(fields["current_state"]) != state or not fields["plugin_output"].startswith(start)
            or perf not in fields.get("performance_data", "")):
        failures.append("%s/%s: state %s, output %r, perfdata %r" % (key + (fields["current_state"],
                        fields["plugin_output"], fields.get("performance_data"))))
print("\n".join("FAIL " + f for f in failures) or "nagios4: all %d services read back as expected" % len(expected))
sys.exit(1 if failures else 0)
PY
status=$?
[ $status -eq 0 ] || { tail -20 "$work/nagios.log"; exit $status; }

# --- icinga2 accepts the shipped CheckCommand ------------------------------------------------------------------
if [ "$have_icinga" = 1 ]; then
  # icinga2 reads its configuration as its own user (nagios on Debian): the folder is opened to reading, the
  # password file stays the caller's alone.
  chmod 755 "$work"
  cat >"$work/icinga2.conf" <<ICINGA
const PluginDir = "$plugin_dir"
include <itl>
include "$prefix/share/qnsnwsm/icinga2/qnsnwsm.conf"
object Host "srv01" {
  address = "127.0.0.1"
  check_command = "dummy"
}
object Service "disk C" {
  host_name = "srv01"
  check_command = "qnsnwsm"
  vars.qnsnwsm_username = "LAB\\\\monitor"
  vars.qnsnwsm_password_file = "$work/password"
  vars.qnsnwsm_mode = "disk-space"
  vars.qnsnwsm_args = [ "C:" ]
  vars.qnsnwsm_warning = "15:"
  vars.qnsnwsm_critical = "5:"
  vars.qnsnwsm_ssl = false
}
ICINGA
  if ! $sudo_cmd icinga2 daemon -C -c "$work/icinga2.conf" >"$work/icinga2.log" 2>&1; then
    echo "FAIL: icinga2 refuses the shipped CheckCommand"; cat "$work/icinga2.log"; exit 1
  fi
  echo "icinga2: the shipped CheckCommand validates"
fi
