// What the benchmarks share: the simulator as a separate process (so that the CPU time of the benchmark
// process is the client's own), a scratch folder with users and configuration store, the request log read
// back, and CPU and memory readings of this process.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "qnsnwsm.h"

namespace qnbench {

constexpr const char* kDomain = "PC1";
constexpr const char* kUser = "PC1\\monitor";
constexpr const char* kPassword = "Corr3ct-Horse";

// A private temporary folder holding the users file and a configuration store; QNSNWSM_REGISTRY points at the
// store while the folder exists. Removed on destruction.
class BenchFolder {
  public:
    // `winrmSettings`: extra "Name=value" lines for the WinRM client settings key.
    explicit BenchFolder(const std::vector<std::string>& winrmSettings = {});
    ~BenchFolder();
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path File(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

// qnsnwsm-sim as a child process on a free loopback port. Stopped (SIGTERM, then waited for) on destruction.
class SimProcess {
  public:
    // `arguments` are passed after --port 0 and --users; throws std::runtime_error when it does not start.
    SimProcess(const BenchFolder& folder, const std::vector<std::string>& arguments);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    std::uint16_t Port() const { return port_; }
    pid_t Pid() const { return pid_; }
    // User plus system CPU seconds the simulator has used so far.
    double CpuSeconds() const;
    // Resident memory of the simulator in KiB.
    long ResidentKiB() const;
    void Stop();

  private:
    pid_t pid_ = -1;
    std::uint16_t port_ = 0;
};

// One line of the simulator's request log.
struct LogLine {
    int connection = 0;
    std::string auth;
    std::string
        action;  // last segment of the Action ("Enumerate", "Pull", ...), empty for an authentication leg
    std::string filter;
    int status = 0;
};

// Reads the request log from line `from` on (0-based); `count` receives the number of lines in the file.
std::vector<LogLine> ReadLog(const std::filesystem::path& file, std::size_t from = 0);

// User plus system CPU seconds of this process (getrusage).
double ProcessCpuSeconds();
// The system-time part of it (calls into the kernel: sockets, file checks).
double ProcessSystemSeconds();
// Page faults this process has taken (minor: pages given to it afresh).
long ProcessPageFaults();
// Resident memory of this process in KiB.
long ResidentKiB();
// Monotonic seconds.
double NowSeconds();

// The path of the simulator executable and of the bundled profiles folder.
std::string SimulatorPath();
std::string ProfilesFolder();
// A copy of the bundled `server` profile in `folder` whose batch-worker process group (1,050 of its 2,000
// processes) is resized so that the profile holds `processes` processes. Returns the profile file's path.
std::string ScaledServerProfile(const BenchFolder& folder, int processes);

// A connected handle (NTLM through Negotiate, sealed over HTTP); throws std::runtime_error on failure.
QNSNWSM_HANDLE ConnectHandle(std::uint16_t port, const char* name = "bench");

// Machine description: "N cores, <model>".
std::string MachineText();
std::string UtcStamp();

}  // namespace qnbench
