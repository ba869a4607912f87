#!/usr/bin/env python3
"""check_qnsnwsm against the simulator: each mode's exit code and status line on a healthy computer
(workstation; pools and queues on server) and on one in trouble (unhealthy, or the server's stopped pool and
thresholds its readings cross); usage errors; the time limit against a listener that never answers; and a
wrong password, which is UNKNOWN after exactly one login attempt."""
import os, re, socket, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
from simulated_lab import Lab, free_port  # noqa: E402

plugin, sim, share = sys.argv[1:4]
failures = []

ETH = "Intel[R] Ethernet Connection [7] I219-LM"
# (profile, arguments, exit code, pattern the status line must match)
CASES = [
    ("workstation", ["-m", "cpu", "-w", "50", "-c", "60"], 0, r"CPU OK - CPU usage \d+% .*'usage'=\d+%;50;60;0;100"),
    ("unhealthy", ["-m", "cpu", "-w", "50", "-c", "60"], 2, r"CPU CRITICAL - CPU usage \d+%"),
    ("workstation", ["-m", "memory"], 0, r"MEMORY OK - 7933 MB available of 16254 MB .*'available_pct'=48.81%;10:;5:"),
    ("unhealthy", ["-m", "memory"], 2, r"MEMORY CRITICAL - 384 MB available"),
    ("unhealthy", ["-m", "memory", "--metric", "available", "-w", "500:"], 1, r"MEMORY WARNING .*'available'=384MB;500:;;0;16254"),
    ("workstation", ["-m", "disk-space"], 0, r"DISK-SPACE OK - C: \d+ MB free .*, D: .*'D: free_pct'="),
    ("unhealthy", ["-m", "disk-space"], 2, r"DISK-SPACE CRITICAL - C: 1228 MB free of 237972 MB \(0.52%\) CRITICAL"),
    ("unhealthy", ["-m", "disk-space", "-a", "D:", "--metric", "free", "-w", "500000:"], 1, r"DISK-SPACE WARNING - D: "),
    ("unhealthy", ["-m", "disk-space", "-a", "Z:"], 2, r"DISK-SPACE CRITICAL - Z: not found"),
    ("workstation", ["-m", "disks"], 0, r"DISKS OK - every physical disk reports OK$"),
    ("unhealthy", ["-m", "disks"], 2, r"DISKS CRITICAL - disk ST1000DM010-2EP102 is Degraded$"),
    ("workstation", ["-m", "service", "-a", "Spooler", "--start-mode", "auto"], 0, r"SERVICE OK - Spooler \(Print Spooler\) is Running"),
    ("unhealthy", ["-m", "service", "-a", "Spooler"], 2, r"SERVICE CRITICAL - Spooler \(Print Spooler\) is Stopped"),
    ("unhealthy", ["-m", "service", "-a", "NoSuchService"], 2, r"SERVICE CRITICAL - service NoSuchService is not installed"),
    ("workstation", ["-m", "service", "-a", "Spooler", "--start-mode", "Manual"], 1, r"SERVICE WARNING - start mode Auto where Manual"),
    ("workstation", ["-m", "process", "-a", "lsass.exe"], 0, r"PROCESS OK - lsass.exe is running$"),
    ("unhealthy", ["-m", "process", "-a", "payroll.exe"], 2, r"PROCESS CRITICAL - payroll.exe is not running$"),
    ("workstation", ["-m", "process-usage", "-a", "lsass.exe", "--metric", "handles", "-w", "5000"], 0, r"PROCESS-USAGE OK - lsass \(pid 736\):.*'handles'=1640;5000"),
    ("unhealthy", ["-m", "process-usage", "-a", "lsass.exe", "--metric", "handles", "-c", "1000"], 2, r"PROCESS-USAGE CRITICAL"),
    ("server", ["-m", "pool", "-a", "DefaultAppPool"], 0, r"POOL OK - application pool DefaultAppPool is Started$"),
    ("server", ["-m", "pool", "-a", "LegacyIntranet"], 2, r"POOL CRITICAL - application pool LegacyIntranet is Stopped$"),
    ("server", ["-m", "queue", "-a", "private$\\deadletter-orders", "-w", "10"], 0, r"QUEUE OK .*'messages'=3;10;;0"),
    ("server", ["-m", "queue", "-a", "private$\\deadletter-orders", "-w", "2"], 1, r"QUEUE WARNING - private\$\\deadletter-orders: 3 message"),
    ("server", ["-m", "queue", "-a", "private$\\missing"], 2, r"QUEUE CRITICAL - queue private\$\\missing not found"),
    ("workstation", ["-m", "share", "-a", "Scans"], 0, r"SHARE OK - share Scans exists$"),
    ("unhealthy", ["-m", "share", "-a", "Scans"], 2, r"SHARE CRITICAL - share Scans does not exist$"),
    ("workstation", ["-m", "sessions", "-w", "5"], 0, r"SESSIONS OK - 1 active, 1 disconnected .*'active'=1;5;;0"),
    ("unhealthy", ["-m", "sessions", "--metric", "total", "-c", "1"], 2, r"SESSIONS CRITICAL .*'total'=2;;1;0"),
    ("workstation", ["-m", "counter", "-a", "Win32_PerfFormattedData_PerfOS_Memory", "-a", "AvailableMBytes", "-c", "1000:"], 0, r"COUNTER OK - .*AvailableMBytes = 7933 \| 'AvailableMBytes'=7933;;1000:$"),
    ("unhealthy", ["-m", "counter", "-a", "Win32_PerfFormattedData_PerfOS_Memory", "-a", "AvailableMBytes", "-c", "1000:", "--label", "free mem"], 2, r"COUNTER CRITICAL .*'free mem'=384;;1000:$"),
    ("unhealthy", ["-m", "counter", "-a", "Win32_ComputerSystem", "-a", "Domain", "--expect", "lab.example"], 2, r"COUNTER CRITICAL - expected 'lab.example'"),
    ("unhealthy", ["-m", "counter", "-a", "Win32_ComputerSystem", "-a", "Domain", "-w", "1"], 3, r"COUNTER UNKNOWN - thresholds need a number"),
    ("workstation", ["-m", "nic", "-a", ETH, "--metric", "utilisation_pct", "-w", "50"], 0, r"NIC OK - .*'utilisation_pct'=[\d.]+%;50;;0;100"),
    ("unhealthy", ["-m", "nic", "-a", ETH, "-c", "1000"], 2, r"NIC CRITICAL .*'traffic'=\d+B;;1000;0"),
    ("unhealthy", ["-m", "nic", "-a", "missing nic"], 2, r"NIC CRITICAL - network interface missing nic not found"),
    ("workstation", ["-m", "domain", "-a", "CORP.example.com"], 0, r"DOMAIN OK - member of corp.example.com$"),
    ("unhealthy", ["-m", "domain", "-a", "lab.example"], 2, r"DOMAIN CRITICAL - not a member of lab.example"),
    ("workstation", ["-m", "printer", "-a", "HP LaserJet M404 (Floor 2)"], 0, r"PRINTER OK - .*: no error"),
    ("unhealthy", ["-m", "printer", "-a", "HP LaserJet M404 (Floor 2)"], 2, r"PRINTER CRITICAL - .*: offline \(DetectedErrorState 9\)"),
    ("workstation", ["-m", "usb-drives", "-c", "1:"], 0, r"USB-DRIVES OK - 1 USB drive\(s\): SanDisk"),
    ("unhealthy", ["-m", "usb-drives", "-c", "1:"], 2, r"USB-DRIVES CRITICAL - 0 USB drive\(s\) \| 'count'=0;;1:;0$"),
    ("workstation", ["-m", "users"], 0, r"USERS OK - 0 locked-out .*'locked'=0;0;;0$"),
    ("unhealthy", ["-m", "users"], 1, r"USERS WARNING - 1 locked-out local account\(s\): jsmith"),
    ("workstation", ["-m", "groups"], 0, r"GROUPS OK - 9 group\(s\)"),
    ("unhealthy", ["-m", "groups", "-w", "5"], 1, r"GROUPS WARNING - 9 group\(s\)"),
    ("workstation", ["-m", "members", "-a", "Administrators", "-a", "WS-PC1", "--allowed",
                     "ws-pc1\\administrator,WS-PC1\\helpdesk", "--allowed", "CORP\\Domain Admins"], 0, r"MEMBERS OK - 3 member"),
    ("workstation", ["-m", "members", "-a", "Administrators", "-a", "WS-PC1", "--allowed", "WS-PC1\\Administrator"], 1,
     r"MEMBERS WARNING - not allowed: CORP\\Domain Admins, WS-PC1\\helpdesk"),
    ("workstation", ["-m", "members", "-a", "Nosuch", "-a", "WS-PC1"], 3, r"MEMBERS UNKNOWN - no group Nosuch in domain WS-PC1$"),
    # Usage errors: UNKNOWN before any connection (each refusal's reason is RangeAndOutputTest's).
    ("workstation", ["-m", "cpu", "-w", "20:10"], 3, r"CPU UNKNOWN - -w: '20:10' is not a range"),
    ("workstation", ["-m", "nope"], 3, r"NOPE UNKNOWN - unknown mode 'nope'"),
    ("workstation", ["-m", "cpu", "--password", "x"], 3, r"QNSNWSM UNKNOWN - --password: is not accepted"),
    ("workstation", ["-m", "cpu", "-t", "0"], 3, r"CPU UNKNOWN - -t '0'"),
]


with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share, "Passw0rd-1")
    config = lab.store
    try:
        ports = {profile: lab.simulator_port(profile, os.path.join(folder, profile + ".log"))
                 for profile in ("workstation", "unhealthy", "server")}
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1")

        def run(port, args, timeout=120):
            command = [plugin, "-H", "127.0.0.1", "-p", str(port), "-u", "LAB\\monitor", "--config", config,
                       "--sleep-ms", "0", "--duration-ms", "0"] + args
            return subprocess.run(command, env=env, capture_output=True, text=True, timeout=timeout,
                                  stdin=subprocess.DEVNULL)

        for profile, args, code, pattern in CASES:
            result = run(ports[profile], args)
            status = result.stdout.split("\n", 1)[0]
            if result.returncode != code or not re.search(pattern, status) or not status.startswith("QNSNWSM "):
                failures.append("%s %s: exit %d, %r" % (profile, args, result.returncode, status))

        # A listener that accepts and never answers: the run ends at the limit, UNKNOWN unless told otherwise.
        silent = socket.create_server(("127.0.0.1", 0), backlog=8)
        for limit, code, word in (("2", 3, "UNKNOWN"), ("1:critical", 2, "CRITICAL")):
            started = time.monotonic()
            result = run(silent.getsockname()[1], ["-m", "memory", "-t", limit], timeout=30)
            elapsed = time.monotonic() - started
            if result.returncode != code or "MEMORY %s - no result within" % word not in result.stdout or elapsed > 4:
                failures.append("-t %s: exit %d after %.1f s: %r" % (limit, result.returncode, elapsed, result.stdout))
        silent.close()

        # UNKNOWN with the module's code and a hint: a wrong password, after one handshake (its two legs) and
        # nothing more; nothing listening, naming the endpoint.
        log = os.path.join(folder, "server.log")
        open(log, "w").close()
        closed = free_port()
        for port, password, texts in [
                (ports["server"], "wrong", ["0x80070005", "hint: the computer refused the login"]),
                (closed, "Passw0rd-1", ["0x80338012", "hint: no WinRM listener answered at http://127.0.0.1:%d/wsman" % closed])]:
            env["QNSNWSM_PASSWORD"] = password
            result = run(port, ["-m", "memory"])
            if result.returncode != 3 or "UNKNOWN" not in result.stdout or any(t not in result.stdout for t in texts):
                failures.append("%s: exit %d %r" % (texts[0], result.returncode, result.stdout))
        with open(log) as f:
            legs = f.read().splitlines()
        if len(legs) != 2 or any("status=401" not in leg for leg in legs):
            failures.append("wrong password: the server saw %r" % legs)
    finally:
        lab.stop()

print("\n".join("FAIL " + failure for failure in failures) or "all %d cases passed" % (len(CASES) + 3))
sys.exit(1 if failures else 0)
