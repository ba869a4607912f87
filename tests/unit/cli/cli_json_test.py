#!/usr/bin/env python3
"""Every subcommand of the front end prints JSON that parses, against the simulator with NTLM and sealing;
plus the exit codes a script relies on."""
import json
import os
import socket
import subprocess
import sys
import tempfile
import time

cli, sim, share = sys.argv[1], sys.argv[2], sys.argv[3]


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_for(port):
    deadline = time.time() + 15
    while time.time() < deadline:
        with socket.socket() as s:
            if s.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.05)
    raise SystemExit("simulator did not start")


with tempfile.TemporaryDirectory() as folder:
    users = os.path.join(folder, "users.txt")
    with open(users, "w") as f:
        f.write("LAB:monitor:Passw0rd-1\n")
    config = os.path.join(folder, "registry.conf")
    with open(config, "w") as f:
        f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n\n"
                "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nAuthScheme=NTLM\n" % share)
    port = free_port()
    server = subprocess.Popen([sim, "--port", str(port), "--profile", "server", "--users", users],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wait_for(port)
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1", QNSNWSM_REGISTRY=config)
        base = [cli, "--json", "-q", "-c", "127.0.0.1", "-p", str(port), "-u", "LAB\\monitor",
                "--sleep-ms", "100", "--duration-ms", "200"]
        commands = [
            ["domain"], ["cpu"], ["disks"], ["disk-space", "C:"], ["memory"], ["printers"],
            ["printer", "nonexistent"], ["processes"], ["process", "lsass.exe"], ["process-usage", "lsass.exe"],
            ["pools"], ["pool", "DefaultAppPool"], ["queues"], ["queue", "nonexistent"], ["services"],
            ["service", "Spooler"], ["share", "C$"], ["sessions"],
            ["counter", "Win32_PerfFormattedData_PerfOS_Memory", "AvailableBytes"], ["usb-drives"], ["users"],
            ["groups"], ["members", "Administrators", "SRV01"], ["nics"], ["nic", "nonexistent"],
            ["--yes", "restart-service", "Spooler"], ["--yes", "reboot"], ["classes"],
            ["instances", "Win32_Service"], ["properties", "Win32_Process"], ["all"],
        ]
        failures = 0
        for command in commands:
            run = subprocess.run(base + command, env=env, capture_output=True, text=True, timeout=120)
            try:
                document = json.loads(run.stdout)
            except ValueError as error:
                print("FAIL %s: not JSON (%s): %r" % (command, error, run.stdout[:200]))
                failures += 1
                continue
            results = document if isinstance(document, list) else [document]
            ok = all(r["ok"] for r in results)
            if run.returncode != (0 if ok else 1):
                print("FAIL %s: exit code %d with ok=%s" % (command, run.returncode, ok))
                failures += 1
            else:
                print("ok   %s" % " ".join(command))
        # Usage errors and refusals: exit 2, nothing changed without --yes.
        for command, code in ((["bogus"], 2), (["reboot"], 2), (["--password", "x", "memory"], 2)):
            run = subprocess.run(base + command, env=env, capture_output=True, text=True, timeout=60,
                                 stdin=subprocess.DEVNULL)
            if run.returncode != code:
                print("FAIL %s: exit code %d, expected %d" % (command, run.returncode, code))
                failures += 1
        # A wrong password is a failed check with the module's text, still as JSON.
        env["QNSNWSM_PASSWORD"] = "wrong"
        run = subprocess.run(base + ["memory"], env=env, capture_output=True, text=True, timeout=60)
        result = json.loads(run.stdout)
        if run.returncode != 1 or "0x80070005" not in result["error"]:
            print("FAIL wrong password: %d %r" % (run.returncode, result))
            failures += 1
    finally:
        server.terminate()
        server.wait(timeout=10)

print("%d passed, %d failed" % (len(commands) + 4 - failures, failures))
sys.exit(1 if failures else 0)
