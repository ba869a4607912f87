// The plugin's command line, parsed with CLI11 on the host library's connection options.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ConnectionOptions.h"
#include "State.h"

namespace qncheck {

struct PluginOptions : qnhost::ConnectionOptions, qnhost::CheckParameters {
    std::string mode;
    std::vector<std::string> arguments;  // -a, in order
    std::string warning;                 // range texts as given; empty: the mode's default
    std::string critical;
    std::string metric;  // which measurement -w/-c apply to; empty: the mode's first
    double timeoutSeconds = 30;
    State timeoutState = State::Unknown;
    int verbosity = 0;
    std::string unit;                  // memory, disk-space: "%" or "MB" for the thresholds
    std::string startMode;             // service: the expected start mode
    std::vector<std::string> allowed;  // members: who may be in the group
    std::string expect;                // counter: the expected text
    std::string label;                 // counter: the perfdata label
};

enum class ParseStatus { Run, Help, Version, UsageError };

struct ParseOutcome {
    ParseStatus status = ParseStatus::Run;
    PluginOptions options;
    std::string error;  // for UsageError
};

ParseOutcome ParseCommandLine(int argc, const char* const* argv);

// "SECONDS[:STATE]" into the two fields; false with `error` set when it is not.
bool ParseTimeout(const std::string& text, PluginOptions& options, std::string& error);

}  // namespace qncheck
