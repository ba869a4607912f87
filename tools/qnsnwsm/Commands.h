// The subcommands: one per check or action export, each turning its arguments into one export call.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "CheckResult.h"
#include "CliOptions.h"
#include "ModuleSession.h"

namespace qncli {

struct CommandSpec {
    std::string name;
    std::size_t minArgs = 0;
    std::size_t maxArgs = 0;
    bool sampling = false;           // waits and measures: show progress
    bool changesComputer = false;    // asks for confirmation
    bool webAdministration = false;  // runs in root/WebAdministration unless a namespace is given
    std::function<CheckResult(ModuleHandle, const CliOptions&, const std::vector<std::string>&)> run;
};

const std::vector<CommandSpec>& AllCommands();
const CommandSpec* FindCommand(const std::string& name);

}  // namespace qncli
