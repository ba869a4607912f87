#!/usr/bin/env python3
"""One check_qnsnwsm run, process start to exit: wall time and CPU (user + system, from the kernel's
accounting of the finished child) for the cpu mode without sampling (--duration-ms 0 --sleep-ms 0: one
reading) and the memory mode, against a simulator on a loopback port. Prints the median and the worst of
QNBENCH_PLUGIN_RUNS runs (default 20) per mode as a Markdown table.

    bench/plugin_run.py build/tools/check_qnsnwsm/check_qnsnwsm build/sim/qnsnwsm-sim share/qnsnwsm
"""
import os, resource, statistics, subprocess, sys, tempfile, time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "support"))
from simulated_lab import Lab  # noqa: E402

plugin, sim, share = sys.argv[1:4]
runs = int(os.environ.get("QNBENCH_PLUGIN_RUNS", "20"))
modes = {"cpu": ["-m", "cpu", "--duration-ms", "0", "--sleep-ms", "0"], "memory": ["-m", "memory"]}

with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share, "Passw0rd-1")
    config = lab.store
    try:
        port = str(lab.simulator_port("workstation"))
        env = dict(os.environ, QNSNWSM_PASSWORD="Passw0rd-1")
        base = [plugin, "-H", "127.0.0.1", "-p", port, "-u", "LAB\\monitor", "--config", config]
        print("| mode | runs | wall median (ms) | wall max (ms) | CPU median (ms) | CPU max (ms) | exit |")
        print("|---|---|---|---|---|---|---|")
        for mode, args in modes.items():
            walls, cpus, codes = [], [], set()
            for _ in range(runs):
                before = resource.getrusage(resource.RUSAGE_CHILDREN)
                started = time.perf_counter()
                codes.add(subprocess.run(base + args, env=env, stdout=subprocess.DEVNULL).returncode)
                walls.append((time.perf_counter() - started) * 1000)
                after = resource.getrusage(resource.RUSAGE_CHILDREN)
                cpus.append((after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime) * 1000)
            print("| %s | %d | %.1f | %.1f | %.1f | %.1f | %s |" % (
                mode, runs, statistics.median(walls), max(walls), statistics.median(cpus), max(cpus),
                ",".join(map(str, sorted(codes)))))
    finally:
        lab.stop()
