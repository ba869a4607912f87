#!/usr/bin/env python3
"""The exporter against simulators: valid exposition text (promtool, when installed), health from the single
readings, a wrong password costing one login per scrape, a silent computer answered within the scrape timeout,
twenty computers scraped at once, a computer that goes away and comes back, and the password in no answer,
log line or environment."""
import concurrent.futures, os, shutil, signal, socket, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from exporter_harness import Lab, PASSWORD, WINDOWS_MODULE, value

exporter, sim, share = sys.argv[1:4]
failures = []


def expect(condition, text):
    if not condition:
        failures.append(text)


def promtool(text, what):
    if shutil.which("promtool") is None:
        return
    result = subprocess.run(["promtool", "check", "metrics"], input=text, capture_output=True, text=True)
    expect(result.returncode == 0 and not result.stdout.strip() and not result.stderr.strip(),
           "promtool on %s: %s%s" % (what, result.stdout, result.stderr))


with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share)
    try:
        sim_log = os.path.join(folder, "sim.log")
        healthy, unhealthy = lab.simulator("workstation"), lab.simulator("unhealthy", log=sim_log)
        computers = [healthy] + [lab.simulator("server") for _ in range(4)]
        silent = socket.create_server(("127.0.0.1", 0), backlog=64)  # accepts, never answers
        dead = "127.0.0.1:%d" % silent.getsockname()[1]
        modules = WINDOWS_MODULE + "  all:\n    auth: lab\n    collectors: [service]\n    services: all\n"
        # Five auths with one account give twenty separate kept sessions on five computers.
        lab.exporter(exporter, modules, auths=5)
        exporter_process = lab.processes[-1]

        status, body = lab.get("/probe?target=%s&module=windows" % healthy)
        expect(status == 200 and value(body, "qnsnwsm_up") == 1, "workstation not up: %s" % body[:300])
        for series, expected in [('qnsnwsm_service_running{name="Spooler"}', 1),
                                 ("qnsnwsm_physical_disks_healthy", 1),
                                 ('qnsnwsm_collector_success{collector="logical_disk"}', 1)]:
            expect(value(body, series) == expected, "workstation %s is not %s" % (series, expected))
        expect(value(body, 'qnsnwsm_logical_disk_free_bytes{volume="C:"}') > 0, "no free space on C:")
        expect(value(body, "qnsnwsm_memory_available_bytes") > 0, "no available memory")
        promtool(body, "/probe")
        status, body = lab.get("/probe?target=%s&module=windows" % unhealthy)
        expect(value(body, 'qnsnwsm_service_running{name="Spooler"}') == 0, "unhealthy Spooler is not stopped")
        expect(value(body, "qnsnwsm_physical_disks_healthy") == 0, "unhealthy disks are healthy")
        expect(value(body, 'qnsnwsm_process_running{name="payroll.exe"}') == 0, "a stopped process is not 0")
        expect(value(body, 'qnsnwsm_collector_success{collector="process"}') == 1, "a stopped process fails")
        status, body = lab.get("/probe?target=%s&module=all" % healthy)
        expect(body.count("qnsnwsm_service_info{") > 100 and "qnsnwsm_service_running" not in body,
               "all services: info only expected")
        promtool(body, "/probe of all services")

        for path, code in [("/", 200), ("/nothing", 404), ("/probe?module=windows", 400),
                           ("/probe?target=a%40b&module=windows", 400), ("/probe?target=x&module=nope", 400),
                           ("/probe?target=x&module=windows&auth=nope", 400)]:
            status, body = lab.get(path)
            expect(status == code and body.strip(), "%s: %d instead of %d" % (path, status, code))

        # Twenty targets at once, all answered with up 1.
        targets = ["/probe?target=%s&module=windows&auth=lab%s" % (c, a or "") for c in computers for a in range(4)]
        with concurrent.futures.ThreadPoolExecutor(len(targets)) as pool:
            answers = dict(zip(targets, pool.map(lambda path: lab.get(path, timeout_header=20), targets)))
        up = [p for p, (s, b) in answers.items() if s == 200 and value(b, "qnsnwsm_up") == 1]
        expect(len(up) == 20, "parallel scrapes: %d of 20 up" % len(up))

        # The silent computer: answered within the scrape timeout, twice (the second finds the session busy).
        for attempt in range(2):
            start = time.time()
            status, body = lab.get("/probe?target=%s&module=windows" % dead, timeout_header=2)
            took = time.time() - start
            expect(took < 2.0 and value(body, "qnsnwsm_up") == 0,
                   "silent computer, scrape %d: %.2f s, up %s" % (attempt, took, value(body, "qnsnwsm_up")))

        # A computer that goes away: its kept session is dropped, and it is read again once it is back.
        sessions = value(lab.get("/metrics")[1], "qnsnwsm_exporter_sessions")
        lab.processes[0].terminate()
        lab.processes[0].wait()
        status, body = lab.get("/probe?target=%s&module=windows" % healthy, timeout_header=5)
        expect(value(body, "qnsnwsm_up") == 0, "a stopped computer is up")
        expect(value(lab.get("/metrics")[1], "qnsnwsm_exporter_sessions") < sessions, "broken session kept")
        port = healthy.split(":")[1]
        lab.start([sim, "--port", port, "--profile", "workstation", "--users", lab.users], int(port))
        status, body = lab.get("/probe?target=%s&module=windows" % healthy, timeout_header=10)
        expect(value(body, "qnsnwsm_up") == 1, "the computer is not read again once back")
        with open("/proc/%d/environ" % exporter_process.pid, "rb") as f:
            expect(PASSWORD.encode() not in f.read(), "the password stays in the exporter's environment")
        status, metrics = lab.get("/metrics")
        promtool(metrics, "/metrics")
        expect(value(metrics, "qnsnwsm_exporter_sessions") >= 20, "kept sessions: %s" % metrics[:200])
        expect(value(metrics, "process_resident_memory_bytes") > 0, "no process metrics")
        answers_text = body + metrics + "".join(b for s, b in answers.values())
        # A reload (SIGHUP) takes a new module; the wiped variable's password carries over.
        with open(os.path.join(folder, "exporter.yml"), "a") as f:
            f.write("  added:\n    auth: lab\n    collectors: [memory]\n")
        exporter_process.send_signal(signal.SIGHUP)
        for attempt in range(50):
            status, body = lab.get("/probe?target=%s&module=added" % healthy)
            if status == 200:
                break
            time.sleep(0.1)
        expect(value(body, "qnsnwsm_up") == 1, "the reloaded module does not read the computer: %s" % body[:200])
        lab.stop()

        # A wrong password: up 0, and one login (one NTLM handshake: two requests) per scrape.
        lab.processes = []
        unhealthy = lab.simulator("unhealthy", log=sim_log)
        open(sim_log, "w").close()
        lab.exporter(exporter, WINDOWS_MODULE, password="wrong-password")
        for scrape_number in range(1, 4):
            status, body = lab.get("/probe?target=%s&module=windows" % unhealthy)
            expect(value(body, "qnsnwsm_up") == 0, "wrong password: up is not 0")
            with open(sim_log) as f:
                requests = len(f.read().splitlines())
            expect(requests <= 2 * scrape_number, "wrong password: %d requests after %d scrapes" % (requests, scrape_number))
        status, metrics = lab.get("/metrics")
        expect(value(metrics, 'qnsnwsm_exporter_login_failures_total{auth="lab"}') == 3, "login failures not counted")
        with open(lab.log) as f:
            log = f.read()
        for text, what in [(answers_text + body + metrics, "answers"), (log, "log")]:
            expect(PASSWORD not in text and "wrong-password" not in text, "a password appears in the %s" % what)
        expect("Access is denied" in log, "the refused login is not logged")
    finally:
        lab.stop()

print("\n".join("FAIL " + failure for failure in failures) or "all passed")
sys.exit(1 if failures else 0)
