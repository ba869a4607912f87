// One plugin run: the options checked against the mode, the deadline set, one session, one state.
#pragma once

#include <iosfwd>

#include "Modes.h"
#include "PluginOptions.h"

namespace qncheck {

// The mode, its thresholds and its measurement as the options ask for them; an UNKNOWN outcome on misuse.
struct PreparedMode {
    const ModeSpec* mode = nullptr;
    Thresholds thresholds;
    std::string metric;
};
std::optional<PreparedMode> PrepareMode(const PluginOptions& options, std::string& error);

// Runs the check and prints the status line and long output; returns the exit code.
int RunPlugin(const PluginOptions& options, std::ostream& out);

// The status line of a usage error.
std::string UsageErrorLine(const std::string& mode, const std::string& error);

}  // namespace qncheck
