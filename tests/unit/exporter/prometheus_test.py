#!/usr/bin/env python3
"""Prometheus scrapes the exporter for two simulated computers through relabelling, as a deployment would, and
its query API returns the computers' values."""
import json, os, sys, tempfile, time, urllib.parse, urllib.request

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from exporter_harness import Lab, WINDOWS_MODULE, free_port

exporter, sim, share = sys.argv[1:4]

with tempfile.TemporaryDirectory() as folder:
    lab = Lab(folder, sim, share)
    try:
        workstation, unhealthy = lab.simulator("workstation"), lab.simulator("unhealthy")
        exporter_address = lab.exporter(exporter, WINDOWS_MODULE).split("//")[1]
        config = os.path.join(folder, "prometheus.yml")
        with open(config, "w") as f:
            f.write("""global: {scrape_interval: 2s, scrape_timeout: 2s}
scrape_configs:
  - job_name: windows
    metrics_path: /probe
    params: {module: [windows]}
    static_configs:
      - targets: ['%s', '%s']
    relabel_configs:
      - {source_labels: [__address__], target_label: __param_target}
      - {source_labels: [__param_target], target_label: instance}
      - {target_label: __address__, replacement: '%s'}
  - job_name: exporter
    static_configs: [{targets: ['%s']}]
""" % (workstation, unhealthy, exporter_address, exporter_address))
        port = free_port()
        lab.start(["prometheus", "--config.file=" + config, "--storage.tsdb.path=" + os.path.join(folder, "data"),
                   "--web.listen-address=127.0.0.1:%d" % port], port, log=os.path.join(folder, "prometheus.log"))

        def query(expression):
            url = "http://127.0.0.1:%d/api/v1/query?query=%s" % (port, urllib.parse.quote(expression))
            with urllib.request.urlopen(url, timeout=10) as reply:
                return {r["metric"].get("instance", ""): float(r["value"][1])
                        for r in json.load(reply)["data"]["result"]}

        checks = [  # expression, instance, expected (None: any positive value)
            ("qnsnwsm_up", workstation, 1), ("qnsnwsm_up", unhealthy, 1),
            ("qnsnwsm_memory_available_bytes", workstation, None),
            ('qnsnwsm_logical_disk_free_bytes{volume="C:"}', unhealthy, None),
            ('qnsnwsm_service_running{name="Spooler"}', workstation, 1),
            ('qnsnwsm_service_running{name="Spooler"}', unhealthy, 0),
            ("qnsnwsm_physical_disks_healthy", unhealthy, 0),
            ("up", exporter_address, 1),
        ]
        pending = checks
        until = time.time() + 60
        while pending and time.time() < until:
            time.sleep(1)
            try:
                pending = [c for c in pending if not (
                    c[1] in query(c[0]) and (query(c[0])[c[1]] == c[2] if c[2] is not None else query(c[0])[c[1]] > 0))]
            except OSError:
                pass
        for expression, instance, expected in pending:
            print("FAIL %s for %s is not %s: %s" % (expression, instance, expected, query(expression)))
        if not pending:
            print("Prometheus found every expected value")
        sys.exit(1 if pending else 0)
    finally:
        lab.stop()
