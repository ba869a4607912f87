"""Starts simulators and the exporter for the exporter's tests, its Prometheus stage and its benchmark."""
import os, sys, urllib.error, urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
import simulated_lab  # noqa: E402
from simulated_lab import free_port  # noqa: E402,F401  (the Prometheus stage picks ports with it)

PASSWORD = "Exporter-Pw-7731"


class Lab(simulated_lab.Lab):
    """Simulators, a module store and an exporter in one folder."""

    def __init__(self, folder, sim, share):
        super().__init__(folder, sim, share, PASSWORD)

    def exporter(self, exporter, modules, password=PASSWORD, settings="", auths=1):
        config = os.path.join(self.folder, "exporter.yml")
        with open(config, "w") as f:
            f.write("exporter:\n  module_store: %s\n  connect_timeout: 3s\n  operation_timeout: 3s\n%s" % (
                self.store, settings))
            f.write("auths:\n")
            for n in range(auths):
                f.write("  lab%s:\n    username: 'LAB\\monitor'\n    password_env: LAB_PASSWORD\n"
                        "    scheme: ntlm\n" % (n or ""))
            f.write("modules:\n" + modules)
        port = free_port()
        self.log = os.path.join(self.folder, "exporter.log")
        env = dict(os.environ, LAB_PASSWORD=password)
        self.start([exporter, "--config.file", config, "--web.listen-address", "127.0.0.1:%d" % port], port, env,
                   self.log)
        self.base = "http://127.0.0.1:%d" % port
        return self.base

    def get(self, path, timeout_header=None, timeout=60):
        request = urllib.request.Request(self.base + path)
        if timeout_header:
            request.add_header("X-Prometheus-Scrape-Timeout-Seconds", str(timeout_header))
        try:
            with urllib.request.urlopen(request, timeout=timeout) as reply:
                return reply.status, reply.read().decode()
        except urllib.error.HTTPError as error:
            return error.code, error.read().decode()


WINDOWS_MODULE = """  windows:
    auth: lab
    collectors: [cpu, memory, logical_disk, physical_disk, service, process]
    services: [Spooler, wuauserv]
    processes: [explorer.exe, payroll.exe]
"""


def value(text, series):
    """The value of one series line ("name{labels}") in exposition text, or None."""
    for line in text.splitlines():
        if line.startswith(series + " "):
            return float(line.split(" ")[-1])
    return None
