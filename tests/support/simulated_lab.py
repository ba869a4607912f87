"""Simulated Windows computers for the host programs' tests and benchmarks: one folder holds the accounts file
and a configuration store that names the stylesheets; stop() ends every process the lab started."""
import os, socket, subprocess, time


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
    def __init__(self, folder, sim, share, password):
        self.folder, self.sim, self.processes = folder, sim, []
        self.users = os.path.join(folder, "users.txt")
        with open(self.users, "w") as f:
            f.write("LAB:monitor:%s\n" % password)
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

    def simulator_port(self, profile="workstation", log=None):
        port = free_port()
        args = [self.sim, "--port", str(port), "--profile", profile, "--users", self.users]
        self.start(args + (["--log", log] if log else []), port)
        return port

    def simulator(self, profile="workstation", log=None):
        return "127.0.0.1:%d" % self.simulator_port(profile, log)

    def stop(self):
        for process in self.processes:
            process.terminate()
        for process in self.processes:
            try:
                process.wait(timeout=10)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
