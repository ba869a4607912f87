"""Starts simulators and the exporter for the exporter's tests, its Prometheus stage and its benchmark."""
import os, socket, subprocess, time, urllib.request

PASSWORD = "Exporter-Pw-7731"


def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def wait_for_port(port, process, seconds=30):
    until = time.time() + seconds
    while time.time() < until:
        if process.poll() is not None:
            raise SystemExit("process on port %d ended early" % port)
        with socket.socket() as probe:
            if probe.connect_ex(("127.0.0.1", port)) == 0:
                return
        time.sleep(0.05)
    raise SystemExit("nothing listens on port %d after %d s" % (port, seconds))


class Lab:
    """Simulators, a module store and an exporter in one folder; stop() ends every process it started."""

    def __init__(self, folder, sim, share):
        self.folder, self.sim, self.processes = folder, sim, []
        self.users = os.path.join(folder, "users.txt")
        with open(self.users, "w") as f:
            f.write("LAB:monitor:%s\n" % PASSWORD)
        self.store = os.path.join(folder, "registry.conf")
        with open(self.store, "w") as f:
            f.write("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=%s/\n\n"
                    "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nAuthScheme=NTLM\n" % share)

    def start(self, args, port, env=None, log=None):
        out = open(log, "w") if log else subprocess.DEVNULL
        process = subprocess.Popen(args, stdout=out, stderr=subprocess.STDOUT, env=env, stdin=subprocess.DEVNULL)
        self.processes.append(process)
        wait_for_port(port, process)
        return process

    def simulator(self, profile="workstation", log=None):
        port = free_port()
        args = [self.sim, "--port", str(port), "--profile", profile, "--users", self.users]
        self.start(args + (["--log", log] if log else []), port)
        return "127.0.0.1:%d" % port

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

    def stop(self):
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            try:
                process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()


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
