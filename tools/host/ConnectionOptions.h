// What every host program needs to reach one computer, however its command line spells the options.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qnhost {

// The variable a password is read from when no file or variable is named.
inline constexpr const char* kDefaultPasswordVariable = "QNSNWSM_PASSWORD";

struct ConnectionOptions {
    std::string computer = "localhost";
    std::string user;          // DOMAIN\user, user@REALM or user; empty: the caller's Kerberos ticket
    std::string passwordFile;  // first line is the password
    std::string passwordEnv;   // name of an environment variable holding the password
    std::string wmiNamespace;  // empty: root/cimv2 (root/WebAdministration for the pool checks)
    std::optional<std::uint16_t> port;  // default 5985, or 5986 with ssl
    bool ssl = false;
    std::string traceFile;
    std::string configFile;  // the configuration store to use (sets QNSNWSM_REGISTRY)

    std::uint16_t EffectivePort() const {
        return port ? *port : static_cast<std::uint16_t>(ssl ? 5986 : 5985);
    }
};

// Parameters of the sampling and process-usage checks.
struct CheckParameters {
    std::uint32_t sleepMs = 1000;     // pause between readings
    std::uint32_t durationMs = 3000;  // how long to sample
    // process-usage thresholds (-1 switches a measurement off)
    std::int32_t cpuThreshold = 0;
    std::int32_t memoryThreshold = 0;
    std::int32_t handlesThreshold = 0;
    std::uint32_t memoryCounter = 0;
    std::string exclude;  // process-usage: names to leave out, separated by ";"
};

}  // namespace qnhost
