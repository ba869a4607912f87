// Runs the bundled WinRM endpoint simulator as a child process for the demo.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace qncli {

struct SimulatorLaunch {
    std::string profile = "workstation";
    std::string usersFile;  // DOMAIN:user:password lines
    std::string logFile;
};

class SimulatorProcess {
  public:
    // Starts qnsnwsm-sim on a free loopback port and waits until it accepts connections.
    static std::optional<SimulatorProcess> Start(const SimulatorLaunch& launch, std::string& error);

    SimulatorProcess(SimulatorProcess&& other) noexcept;
    SimulatorProcess& operator=(SimulatorProcess&&) = delete;
    SimulatorProcess(const SimulatorProcess&) = delete;
    ~SimulatorProcess();

    std::uint16_t Port() const { return port_; }
    void Stop();

  private:
    SimulatorProcess(pid_t pid, std::uint16_t port) : pid_(pid), port_(port) {}
    pid_t pid_ = -1;
    std::uint16_t port_ = 0;
};

// Where the simulator's executable is: $QNSNWSM_SIM, beside this program, the build tree, the install prefix.
std::string FindSimulatorExecutable();

}  // namespace qncli
