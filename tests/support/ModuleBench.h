// The module as a host drives it, against the simulator in-process: a scratch folder with the configuration
// store, the simulator (a small canned computer or a bundled profile, optionally with fault rules) and one
// module handle. For the end-to-end and reliability tests.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "CannedComputer.h"
#include "TestFiles.h"
#include "qnsnwsm.h"
#include "server/SimServer.h"

namespace qntest {

inline constexpr const char* kUser = "PC1\\monitor";
inline constexpr const char* kPassword = "Corr3ct-Horse";

// What WSManGetServiceList yields for the small computer the bench simulates unless given a profile.
std::string ExpectedServiceList();

// The text the module reports for a WinRM failure code.
std::string WinrmErrorText(std::uint32_t code);

enum class Transport {
    BasicOverHttp,  // Basic with clear bodies, allowed on both sides: no authentication noise
    SealedNtlm,     // AuthScheme=NTLM, every body sealed
    Negotiate,      // the default scheme (raw NTLM for DOMAIN\user), every body sealed
};

struct SimSetup {
    std::string faultRules = {};  // the --faults file's text; empty: no rules
    std::uint16_t port = 0;       // 0: any free port
    std::uint32_t enumerationTimeoutMs = 240000;
    std::uint32_t maxItemsInEnumerateResponse = 0;  // 0: the simulator's default
    bool https = false;
    std::string certFile = {}, keyFile = {};
    std::string profile = {};  // a bundled computer instead of the small one
};

// The client settings are read when the handle is made, so they are fixed per bench.
class Bench {
  public:
    explicit Bench(Transport transport = Transport::BasicOverHttp, const std::string& clientSettings = {});
    ~Bench();
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    // Starts (or restarts) the simulator; false, with the reason in SimError(), when it cannot.
    bool StartSim(const SimSetup& setup = {});
    const std::string& SimError() const { return simError_; }
    void StopSim();
    std::uint16_t SimPort() const { return server_ ? server_->Port() : 0; }
    CannedComputer* Computer() const { return computer_; }  // null for a profile

    QNSNWSM_HANDLE Handle() const { return handle_; }
    const ScratchStore& Scratch() const { return scratch_; }
    std::string TraceFile() const { return scratch_.File("module.log"); }

    // Connects the handle; the error text lands in ErrorText().
    std::uint32_t Connect(const char* computer, std::uint16_t port, bool https = false,
                          const char* wmiNamespace = "root\\cimv2");
    std::uint32_t ConnectToSim(const char* wmiNamespace = "root\\cimv2") {
        return Connect("127.0.0.1", SimPort(), https_, wmiNamespace);
    }
    // WSManGetServiceList and WSManGetMemory with generous buffers.
    std::uint32_t ServiceList(std::string& list);
    std::uint32_t Memory(std::uint32_t& availableMB);
    // The service list reads as ExpectedServiceList().
    bool ReadsTheComputer();

    const char* ErrorText() const { return error_; }

  private:
    ScratchStore scratch_;
    std::unique_ptr<qnsim::SimServer> server_;
    CannedComputer* computer_ = nullptr;
    QNSNWSM_HANDLE handle_ = nullptr;
    Transport transport_;
    bool https_ = false;
    std::string simError_;
    char error_[1024] = {};
};

}  // namespace qntest
