#!/usr/bin/env python3
"""Every subcommand of the front end prints JSON that parses, against the simulator with NTLM and sealing;
plus the exit codes a script relies on: 1 for a failed check (a wrong password, a stylesheet folder without
stylesheets, a --timeout against a listener that never answers), 2 for usage errors and refusals (a --config
file that does not exist, which is not created either), nothing changed without --yes. The administrator's
configuration file keeps every byte through all of it: the module writes to its state file."""
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
        state = os.path.join(folder, "state", "state.conf")
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1", QNSNWSM_REGISTRY=config, QNSNWSM_STATE=state)
        with open(config, "rb") as f:
            administrators = f.read()
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
        missing = os.path.join(folder, "missing.conf")
        for command in (["bogus"], ["reboot"], ["restart-service", "Spooler"], ["--password", "x", "memory"],
                        ["--config", missing, "memory"]):
            if run(command).returncode != 2:
                failures.append("%s: exit code is not 2" % command)
        if any(name.startswith("missing.conf") for name in os.listdir(folder)):
            failures.append("--config created the missing file")
        with open(config, "rb") as f:
            if f.read() != administrators:
                failures.append("the administrator's configuration file was rewritten")
        if "ProgFilesFolder" not in open(state).read():
            failures.append("the module's write-back is not in the state file")

        empty = os.path.join(folder, "empty")
        os.mkdir(empty)
        with open(os.path.join(folder, "broken.conf"), "w") as f:
            f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n" % empty)
        result = run(["--config", os.path.join(folder, "broken.conf"), "services"])
        if result.returncode != 1 or json.loads(result.stdout)["ok"] or empty not in result.stderr:
            failures.append("services without stylesheets: %d %r %r" % (result.returncode, result.stdout,
                                                                     result.stderr))

        with socket.socket() as silent:
            silent.bind(("127.0.0.1", 0))
            silent.listen(8)
            started = time.monotonic()
            result = subprocess.run([cli, "-t", "5", "-q", "-c", "127.0.0.1", "-p", str(silent.getsockname()[1]),
                                     "-u", "LAB\\monitor", "memory"], env=env, capture_output=True, text=True,
                                    timeout=30, stdin=subprocess.DEVNULL)
            took = time.monotonic() - started
        if result.returncode != 1 or took > 6 or "--timeout" not in result.stderr:
            failures.append("-t 5 against a silent listener: %d after %.1f s: %r" % (result.returncode, took,
                                                                                  result.stderr))
        env["QNSNWSM_PASSWORD"] = "wrong"
        result = run(["memory"])
        if result.returncode != 1 or "0x80070005" not in json.loads(result.stdout)["error"]:
            failures.append("wrong password: %d %r" % (result.returncode, result.stdout))
    finally:
        server.terminate()
        server.wait(timeout=10)

print("\n".join("FAIL " + failure for failure in failures) or "all passed")
sys.exit(1 if failures else 0)
