#!/usr/bin/env python3
"""One check_qnsnwsm run, process start to exit: wall time and CPU (user + system, from the kernel's
accounting of the finished child) for the cpu mode without sampling (--duration-ms 0 --sleep-ms 0: one
reading) and the memory mode, against a simulator on a loopback port. Prints the median and the worst of
QNBENCH_PLUGIN_RUNS runs (default 20) per mode as a Markdown table.

    bench/plugin_run.py build/tools/check_qnsnwsm/check_qnsnwsm build/sim/qnsnwsm-sim share/qnsnwsm
"""
import os, resource, statistics, subprocess, sys, tempfile, time

plugin, sim, share = sys.argv[1:4]
runs = int(os.environ.get("QNBENCH_PLUGIN_RUNS", "20"))
modes = {"cpu": ["-m", "cpu", "--duration-ms", "0", "--sleep-ms", "0"], "memory": ["-m", "memory"]}

with tempfile.TemporaryDirectory() as folder:
    users, config = os.path.join(folder, "users.txt"), os.path.join(folder, "registry.conf")
    with open(users, "w") as f:
        f.write("LAB:monitor:Passw0rd-1\n")
    with open(config, "w") as f:
        f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n\n"
                "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nAuthScheme=NTLM\n" % share)
    server = subprocess.Popen([sim, "--port", "0", "--profile", "workstation", "--users", users],
                              stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    try:
        port = server.stdout.readline().strip().rsplit(":", 1)[1]
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
        server.terminate()
        server.wait(timeout=10)
