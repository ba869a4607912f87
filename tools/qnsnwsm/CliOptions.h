// Command-line options of the front end: global connection options, then a subcommand and its arguments.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ConnectionOptions.h"

namespace qncli {

// The connection and check parameters are the host library's; the rest is this program's own.
struct CliOptions : qnhost::ConnectionOptions, qnhost::CheckParameters {
    bool json = false;
    bool yes = false;
    bool help = false;
    bool version = false;
    std::uint32_t timeoutSeconds = 0;     // bounds the whole run; 0: no bound
    bool quiet = false;                   // no progress indicator
    std::string profile = "workstation";  // demo
    std::string command;
    std::vector<std::string> arguments;
};

// Parses argv. On a usage error returns nullopt and sets `error`.
std::optional<CliOptions> ParseCommandLine(const std::vector<std::string>& args, std::string& error);

std::string UsageText();

}  // namespace qncli
