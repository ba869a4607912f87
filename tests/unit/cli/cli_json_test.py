#!/usr/bin/env python3
"""Every subcommand of the front end prints JSON that parses, against the simulator with NTLM and sealing;
plus the exit codes a script relies on: 1 for a failed check (a wrong password), 2 for usage errors and
refusals, nothing changed without --yes."""
import json, os, socket, subprocess, sys, tempfile, time

cli, sim, share = sys.argv[1:4]
failures = []

with tempfile.TemporaryDirectory() as folder:
    users, config = os.path.join(folder, "users.txt"), os.path.join(folder, "registry.conf")
    with open(users, "w") as f:
        f.write("LAB:monitor:Passw0rd-1\n")
    with open(config, "w") as f:
        f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n\n"
                "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nAuthScheme=NTLM\n" % share)
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
    server = subprocess.Popen([sim, "--port", str(port), "--profile", "server", "--users", users],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        for attempt in range(300):
            with socket.socket() as probe:
                if probe.connect_ex(("127.0.0.1", port)) == 0:
                    break
            time.sleep(0.05)
        else:
            raise SystemExit("simulator did not start")
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1", QNSNWSM_REGISTRY=config)
        base = [cli, "--json", "-q", "-c", "127.0.0.1", "-p", str(port), "-u", "LAB\\monitor",
                "--sleep-ms", "100", "--duration-ms", "200"]

        def run(args, **kwargs):
            return subprocess.run(base + args, env=env, capture_output=True, text=True, timeout=120,
                                  stdin=subprocess.DEVNULL, **kwargs)

        for command in [
            ["domain"], ["cpu"], ["disks"], ["disk-space", "C:"], ["memory"], ["printers"],
            ["printer", "nonexistent"], ["processes"], ["process", "lsass.exe"], ["process-usage", "lsass.exe"],
            ["pools"], ["pool", "DefaultAppPool"], ["queues"], ["queue", "nonexistent"], ["services"],
            ["service", "Spooler"], ["share", "C$"], ["sessions"],
            ["counter", "Win32_PerfFormattedData_PerfOS_Memory", "AvailableBytes"], ["usb-drives"], ["users"],
            ["groups"], ["members", "Administrators", "SRV01"], ["nics"], ["nic", "nonexistent"],
            ["--yes", "restart-service", "Spooler"], ["--yes", "reboot"], ["classes"],
            ["instances", "Win32_Service"], ["properties", "Win32_Process"], ["all"],
        ]:
            result = run(command)
            try:
                document = json.loads(result.stdout)
            except ValueError as error:
                failures.append("%s: not JSON (%s): %r" % (command, error, result.stdout[:200]))
                continue
            ok = all(r["ok"] for r in (document if isinstance(document, list) else [document]))
            if result.returncode != (0 if ok else 1):
                failures.append("%s: exit code %d with ok=%s" % (command, result.returncode, ok))
        for command in (["bogus"], ["reboot"], ["restart-service", "Spooler"], ["--password", "x", "memory"]):
            if run(command).returncode != 2:
                failures.append("%s: exit code is not 2" % command)
        env["QNSNWSM_PASSWORD"] = "wrong"
        result = run(["memory"])
        if result.returncode != 1 or "0x80070005" not in json.loads(result.stdout)["error"]:
            failures.append("wrong password: %d %r" % (result.returncode, result.stdout))
    finally:
        server.terminate()
        server.wait(timeout=10)

print("\n".join("FAIL " + failure for failure in failures) or "all passed")
sys.exit(1 if failures else 0)
