// Runs one subcommand, every read-only check (`all`), or the demo against the bundled simulator.
#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "CheckResult.h"
#include "CliOptions.h"

namespace qncli {

enum ExitCode { kExitOk = 0, kExitCheckFailed = 1, kExitUsage = 2 };

// Connects once and runs every read-only check (and, for the demo, the two actions), in a fixed order;
// checks that need a name take it from the list check before them.
std::vector<qnhost::CheckResult> RunEveryCheck(const CliOptions& options, const std::string& password,
                                               bool withActions);

int RunCommandLine(const CliOptions& options, std::ostream& out, std::ostream& err);

}  // namespace qncli
