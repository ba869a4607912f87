#!/usr/bin/env python3
"""Every subcommand of the front end prints JSON that parses, against the simulator with NTLM and sealing;
plus the exit codes a script relies on: 1 for a failed check (a wrong password, a stylesheet folder without
stylesheets, a --timeout against a listener that never answers), 2 for usage errors and refusals (a --config
file that does not exist, which is not created either), nothing changed without --yes. The administrator's
configuration file keeps every byte through all of it: the module writes to its state file."""
import json, os, socket, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
from simulated_lab import Lab  # noqa: E402

cli, sim, share = sys.argv[1:4]
failures = []

with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share, "Passw0rd-1")
    try:
        port = lab.simulator_port("server")
        state = os.path.join(folder, "state", "state.conf")
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1", QNSNWSM_REGISTRY=lab.store, QNSNWSM_STATE=state)
        with open(lab.store, "rb") as f:
            administrators = f.read()

        def run(args, to=port, timeout=120):
            return subprocess.run([cli, "--json", "-q", "-c", "127.0.0.1", "-p", str(to), "-u", "LAB\\monitor",
                                   "--sleep-ms", "100", "--duration-ms", "200"] + args, env=env,
                                  capture_output=True, text=True, timeout=timeout, stdin=subprocess.DEVNULL)

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
        with open(lab.store, "rb") as f:
            if f.read() != administrators:
                failures.append("the administrator's configuration file was rewritten")
        if "ProgFilesFolder" not in open(state).read():
            failures.append("the module's write-back is not in the state file")

        # Failed checks: exit 1, ok false, and the reason in the error or on stderr.
        empty = os.path.join(folder, "empty")
        os.mkdir(empty)
        with open(os.path.join(folder, "broken.conf"), "w") as f:
            f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n" % empty)
        silent = socket.create_server(("127.0.0.1", 0), backlog=8)  # accepts, never answers
        for what, args, to, reason, seconds in [
            ("services without stylesheets", ["--config", os.path.join(folder, "broken.conf"), "services"], port,
             empty, 60),
            ("-t 5 against a silent listener", ["-t", "5", "memory"], silent.getsockname()[1], "--timeout", 6),
            ("wrong password", ["memory"], port, "0x80070005", 60),
        ]:
            if what == "wrong password":
                env["QNSNWSM_PASSWORD"] = "wrong"
            started = time.monotonic()
            result = run(args, to, timeout=60)
            took = time.monotonic() - started
            document = json.loads(result.stdout or "{}")
            if (result.returncode != 1 or document.get("ok", True) or took > seconds
                    or reason not in result.stderr + document.get("error", "")):
                failures.append("%s: %d after %.1f s: %r %r" % (what, result.returncode, took, result.stdout,
                                                                result.stderr))
        silent.close()
    finally:
        lab.stop()

print("\n".join("FAIL " + failure for failure in failures) or "all passed")
sys.exit(1 if failures else 0)
