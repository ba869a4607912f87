// The simulator's server, usable in-process by tests: start on port 0, learn the port, stop.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace qnsim {

struct SimOptions {
    std::uint16_t port = 0;        // 0: any free loopback port
    bool https = false;
    std::string certFile, keyFile;  // PEM, for https
    std::string profile = "workstation";  // bundled profile name or a profile file
    std::string usersFile;          // lines DOMAIN:user:password (gss-ntlmssp format)
    std::string keytabFile;         // Kerberos acceptor keytab (optional)
    bool allowUnencrypted = false;  // accept plain SOAP bodies over HTTP
    bool basic = false;             // offer and accept Basic (HTTPS or allowUnencrypted only)
    std::string faultsFile;         // fault injection rules
    std::string logFile;            // one line per request
};

class SimServer {
public:
    virtual ~SimServer() = default;
    virtual std::uint16_t Port() const = 0;
    virtual void Stop() = 0;  // idempotent; the destructor stops too
};

// Starts serving on 127.0.0.1. Returns null and sets `error` when it cannot (bad profile, port taken, ...).
std::unique_ptr<SimServer> StartSimServer(const SimOptions& options, std::string& error);

}  // namespace qnsim
