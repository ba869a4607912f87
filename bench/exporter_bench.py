#!/usr/bin/env python3
"""The exporter's cost: scrapes per second and exporter CPU per scrape for 50 targets on kept sessions, then the
exporter's resident memory with 200 kept sessions. Simulators run as separate processes, so the exporter's CPU
(read from /proc/<pid>/stat) is its own.

    bench/exporter_bench.py BUILD_DIR        # e.g. build (needs qnsnwsm-exporter and qnsnwsm-sim)

Knobs (environment): QNBENCH_SIMS (simulators, 10), QNBENCH_SECONDS (length of the scrape run, 20),
QNBENCH_CLIENTS (scrapes in flight, 8). Targets are simulator x auth pairs: every pair is its own session."""
import os, sys, tempfile, threading, time

here = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(here, "..", "tests", "unit", "exporter"))
from exporter_harness import Lab, WINDOWS_MODULE, value

build = sys.argv[1] if len(sys.argv) > 1 else "build"
exporter = os.path.join(build, "tools", "exporter", "qnsnwsm-exporter")
sim = os.path.join(build, "sim", "qnsnwsm-sim")
share = os.path.join(here, "..", "share", "qnsnwsm")
sims = int(os.environ.get("QNBENCH_SIMS", "10"))
seconds = float(os.environ.get("QNBENCH_SECONDS", "20"))
clients = int(os.environ.get("QNBENCH_CLIENTS", "8"))
ticks = os.sysconf("SC_CLK_TCK")


def cpu_seconds(pid):
    with open("/proc/%d/stat" % pid) as f:
        fields = f.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / ticks


def rss_bytes(pid):
    with open("/proc/%d/status" % pid) as f:
        for line in f:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) * 1024
    return 0


def scrape_all(lab, paths):
    failed = [p for p in paths if value(lab.get(p, timeout_header=30)[1], "qnsnwsm_up") != 1]
    if failed:
        raise SystemExit("not up: %s" % failed[:3])


with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share)
    try:
        computers = [lab.simulator("workstation") for _ in range(sims)]
        auths = max(1, 200 // sims)
        lab.exporter(exporter, WINDOWS_MODULE, auths=auths, settings="  max_sessions: 1000\n")
        pid = lab.processes[-1].pid
        path = "/probe?target=%s&module=windows&auth=lab%s"
        targets50 = [path % (c, a or "") for a in range(max(1, 50 // sims)) for c in computers][:50]
        rss_empty = rss_bytes(pid)
        scrape_all(lab, targets50)  # logins

        done, stop, lock = [0], time.time() + seconds, threading.Lock()

        def client(offset):
            i = offset
            while time.time() < stop:
                lab.get(targets50[i % len(targets50)], timeout_header=30)
                i += clients
                with lock:
                    done[0] += 1

        cpu_before, started = cpu_seconds(pid), time.time()
        threads = [threading.Thread(target=client, args=(n,)) for n in range(clients)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
        elapsed, cpu = time.time() - started, cpu_seconds(pid) - cpu_before
        per_scrape = cpu / done[0]
        print("50 targets on kept sessions, %d clients, %.0f s: %d scrapes, %.1f scrapes/s" % (
            clients, elapsed, done[0], done[0] / elapsed))
        print("exporter CPU per scrape: %.2f ms (%.2f s CPU in all)" % (per_scrape * 1000, cpu))
        print("one exporter core at a 60 s interval: %d computers" % (60 / per_scrape))

        targets200 = [path % (c, a or "") for a in range(auths) for c in computers][:200]
        scrape_all(lab, targets200)
        status, metrics = lab.get("/metrics")
        rss_full = rss_bytes(pid)
        print("%d kept sessions: RSS %.1f MiB (%.1f MiB before any session, %.0f KiB per session)" % (
            value(metrics, "qnsnwsm_exporter_sessions"), rss_full / 2**20, rss_empty / 2**20,
            (rss_full - rss_empty) / 1024 / len(targets200)))
    finally:
        lab.stop()
