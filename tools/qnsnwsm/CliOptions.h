// Command-line options of the front end: global connection options, then a subcommand and its arguments.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qncli {

struct CliOptions {
    std::string computer = "localhost";
    std::string user;          // DOMAIN\user, user@REALM or user; empty: the caller's Kerberos ticket
    std::string passwordFile;  // first line is the password
    std::string passwordEnv;   // name of an environment variable holding the password
    std::string wmiNamespace;  // empty: root/cimv2 (root/WebAdministration for the pool commands)
    std::optional<std::uint16_t> port;  // default 5985, or 5986 with --ssl
    bool ssl = false;
    std::string traceFile;
    std::string configFile;  // the configuration store to use (sets QNSNWSM_REGISTRY)
    bool json = false;
    bool yes = false;
    bool help = false;
    bool quiet = false;               // no progress indicator
    std::uint32_t sleepMs = 1000;     // sampling checks: pause between readings
    std::uint32_t durationMs = 3000;  // sampling checks: how long to sample
    // process-usage thresholds (-1 switches a measurement off)
    std::int32_t cpuThreshold = 0;
    std::int32_t memoryThreshold = 0;
    std::int32_t handlesThreshold = 0;
    std::uint32_t memoryCounter = 0;
    std::string exclude;                  // process-usage: names to leave out, separated by ";"
    std::string profile = "workstation";  // demo
    std::string command;
    std::vector<std::string> arguments;

    std::uint16_t EffectivePort() const {
        return port ? *port : static_cast<std::uint16_t>(ssl ? 5986 : 5985);
    }
};

// Parses argv. On a usage error returns nullopt and sets `error`.
std::optional<CliOptions> ParseCommandLine(const std::vector<std::string>& args, std::string& error);

std::string UsageText();

}  // namespace qncli
