// The simulator's server, usable in-process by tests: start on port 0, learn the port, stop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace qnsim {

class ComputerModel;

struct SimOptions {
    std::uint16_t port = 0;  // 0: any free loopback port
    bool https = false;
    std::string certFile, keyFile;        // PEM, for https
    std::string profile = "workstation";  // bundled profile name or a profile file
    std::string usersFile;          // lines DOMAIN:user:password, optionally ":norights" (see sim/README.md)
    std::string keytabFile;         // Kerberos acceptor keytab (optional)
    bool allowUnencrypted = false;  // accept plain SOAP bodies over HTTP
    bool basic = false;      // offer and accept Basic (its clear bodies still need https or allowUnencrypted)
    std::string faultsFile;  // fault injection rules
    std::string logFile;     // one line per request
    std::uint32_t enumerationTimeoutMs = 240000;  // an open enumeration expires this long after its last use
    std::uint32_t maxItemsInEnumerateResponse = 1;  // items sent with an optimized Enumerate before Pulls
    std::uint32_t maxEnvelopeSize = 512000;         // the largest MaxEnvelopeSize a request may ask for
};

class SimServer {
  public:
    virtual ~SimServer() = default;
    virtual std::uint16_t Port() const = 0;
    virtual void Stop() = 0;  // idempotent; the destructor stops too
};

// Starts serving on 127.0.0.1. Returns null and sets `error` when it cannot (bad profile, port taken, ...).
std::unique_ptr<SimServer> StartSimServer(const SimOptions& options, std::string& error);

// The same with a model of the caller's own instead of `options.profile`.
std::unique_ptr<SimServer> StartSimServer(const SimOptions& options, std::unique_ptr<ComputerModel> model,
                                          std::string& error);

}  // namespace qnsim
