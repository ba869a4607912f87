// What the reliability tests share: a small simulated computer, the simulator started with fault rules, a
// module handle with short client timeouts, and sockets that misbehave in ways the simulator cannot.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "E2eSupport.h"
#include "model/ComputerModel.h"
#include "qnsnwsm.h"
#include "server/SimServer.h"

namespace qn::reliability {

inline constexpr const char* kUser = "PC1\\monitor";
inline constexpr const char* kPassword = "Corr3ct-Horse";
inline constexpr int kServiceCount = 40;

// The service list the computer below yields through WSManGetServiceList.
std::string ExpectedServiceList();

// root/cimv2 with the validation class, services, memory counters and a few processes; ASSOCIATORS OF
// queries are checked for balanced quotes only (a stray quote is a WQL syntax error, as on Windows) and
// return no items. Remembers the last query text. Thread-safe: the simulator calls it from its threads.
class SmallComputer final : public qnsim::ComputerModel {
  public:
    std::string HostName() const override { return "PC1"; }
    bool HasNamespace(const std::string& wmiNamespace) const override;
    qnsim::Result<std::vector<qnsim::RenderedItem>> ExecQuery(const std::string& wmiNamespace,
                                                              const std::string& wql,
                                                              std::chrono::steady_clock::time_point) override;
    qnsim::Result<qnsim::RenderedItem> Get(const std::string&, const std::string&, const qnsim::Selectors&,
                                           std::chrono::steady_clock::time_point) override;
    qnsim::Result<qnsim::RenderedItem> Invoke(const std::string&, const std::string&, const qnsim::Selectors&,
                                              const std::string&, const std::string&,
                                              std::chrono::steady_clock::time_point) override;

    std::string LastQuery() const;

  private:
    mutable std::mutex mutex_;
    std::string lastQuery_;
};

// How the module talks to the simulator.
enum class Transport {
    BasicOverHttp,  // Basic with clear bodies (both sides allow it): the faults without authentication noise
    SealedNtlm,     // Negotiate/NTLM with every body sealed, as a default Windows set-up
};

struct SimSetup {
    std::string faultRules;  // the --faults file's text; empty: no rules
    std::uint16_t port = 0;  // 0: any free port
    std::uint32_t enumerationTimeoutMs = 240000;
    bool https = false;
    std::string certFile, keyFile;
};

// A scratch folder with its configuration store (short timeouts), the simulator and one module handle.
// The client settings are read when the handle is created, so they are fixed per bench.
class Bench {
  public:
    explicit Bench(Transport transport = Transport::BasicOverHttp,
                   const std::string& extraClientSettings = {});
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    // Starts (or restarts) the simulator; false and `error` when it cannot.
    bool StartSim(const SimSetup& setup, std::string& error);
    void StopSim();
    std::uint16_t SimPort() const { return server_ ? server_->Port() : 0; }
    SmallComputer* Computer() const { return computer_; }

    QNSNWSM_HANDLE Handle() const { return handle_; }
    const e2e::ScratchFolder& Scratch() const { return scratch_; }

    // Connects the handle; the error text lands in ErrorText().
    std::uint32_t Connect(const char* computer, std::uint16_t port, bool https = false);
    std::uint32_t ConnectToSim() { return Connect("127.0.0.1", SimPort(), https_); }
    // WSManGetServiceList and WSManGetMemory with generous buffers.
    std::uint32_t ServiceList(std::string& list);
    std::uint32_t Memory(std::uint32_t& availableMB);

    const char* ErrorText() const { return error_; }

  private:
    e2e::ScratchFolder scratch_;
    std::unique_ptr<qnsim::SimServer> server_;
    SmallComputer* computer_ = nullptr;
    QNSNWSM_HANDLE handle_ = nullptr;
    Transport transport_;
    bool https_ = false;
    char error_[1024] = {};
};

// The text the module reports for a WinRM failure code.
std::string WinrmErrorText(std::uint32_t code);

// A loopback port on which nothing listens (bound once, then closed).
std::uint16_t ClosedPort();

// A loopback listener that completes the TCP handshake (the kernel does) but never reads nor answers.
class SilentListener {
  public:
    SilentListener();
    ~SilentListener();
    SilentListener(const SilentListener&) = delete;
    SilentListener& operator=(const SilentListener&) = delete;
    std::uint16_t Port() const { return port_; }

  private:
    int socket_ = -1;
    std::uint16_t port_ = 0;
};

// Runs `call` and returns how long it took.
std::chrono::milliseconds Timed(const std::function<void()>& call);

// Open file descriptors and resident memory of this process.
std::size_t OpenFileDescriptors();
std::size_t ResidentKilobytes();

}  // namespace qn::reliability
