#include "SimulatorProcess.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

namespace qncli {

namespace {

namespace fs = std::filesystem;

// The kernel hands out a free port for a socket bound to port 0; the simulator then takes that port.
std::uint16_t PickFreeLoopbackPort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return 0;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    std::uint16_t port = 0;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    close(fd);
    return port;
}

bool Accepts(std::uint16_t port) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return false;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool ok = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return ok;
}

bool IsExecutable(const fs::path& path) {
    return !path.empty() && access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::string FindSimulatorExecutable() {
    if (const char* fromEnvironment = std::getenv("QNSNWSM_SIM"); fromEnvironment && *fromEnvironment)
        return fromEnvironment;
    std::error_code ignored;
    const fs::path self = fs::read_symlink("/proc/self/exe", ignored);
    const std::vector<fs::path> candidates = {
        self.parent_path() / "qnsnwsm-sim",
        self.parent_path().parent_path().parent_path() / "sim" / "qnsnwsm-sim",  // build tree: tools/qnsnwsm/
        fs::path(QNSNWSM_INSTALLED_BINDIR) / "qnsnwsm-sim",
    };
    for (const fs::path& candidate : candidates)
        if (IsExecutable(candidate)) return candidate.string();
    return "qnsnwsm-sim";  // let PATH decide
}

std::optional<SimulatorProcess> SimulatorProcess::Start(const SimulatorLaunch& launch, std::string& error) {
    const std::string executable = FindSimulatorExecutable();
    for (int attempt = 0; attempt < 3; ++attempt) {
        const std::uint16_t port = PickFreeLoopbackPort();
        if (port == 0) {
            error = "no free loopback port";
            return std::nullopt;
        }
        std::vector<std::string> args = {executable,     "--port",  std::to_string(port), "--profile",
                                         launch.profile, "--users", launch.usersFile};
        if (!launch.logFile.empty()) {
            args.push_back("--log");
            args.push_back(launch.logFile);
        }
        const pid_t pid = fork();
        if (pid < 0) {
            error = "cannot start the simulator (fork failed)";
            return std::nullopt;
        }
        if (pid == 0) {
            // The simulator ends with the front end, also when a --timeout ends it without cleaning up.
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            std::vector<char*> argv;
            for (std::string& arg : args) argv.push_back(arg.data());
            argv.push_back(nullptr);
            // The simulator's own chatter is not part of the report.
            if (FILE* devNull = std::fopen("/dev/null", "w")) dup2(fileno(devNull), STDOUT_FILENO);
            execvp(argv[0], argv.data());
            _exit(127);
        }
        SimulatorProcess process(pid, port);
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(15);
        while (std::chrono::steady_clock::now() < deadline) {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                process.pid_ = -1;
                error = WIFEXITED(status) && WEXITSTATUS(status) == 127
                            ? "cannot run " + executable + " (set QNSNWSM_SIM to the simulator's path)"
                            : "the simulator stopped during start-up (exit status " +
                                  std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) + ")";
                break;
            }
            if (Accepts(port)) return process;
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (process.pid_ > 0) {
            error = "the simulator did not start listening within 15 seconds";
            return std::nullopt;
        }
        if (error.rfind("cannot run", 0) == 0) return std::nullopt;
        // Otherwise the port may have been taken between picking and binding: try another.
    }
    return std::nullopt;
}

SimulatorProcess::SimulatorProcess(SimulatorProcess&& other) noexcept : pid_(other.pid_), port_(other.port_) {
    other.pid_ = -1;
}

SimulatorProcess::~SimulatorProcess() {
    Stop();
}

void SimulatorProcess::Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    for (int i = 0; i < 100; ++i) {
        if (waitpid(pid_, nullptr, WNOHANG) == pid_) {
            pid_ = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = -1;
}

}  // namespace qncli
