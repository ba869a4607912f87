// One entry per check or action export: its arguments in, one export call, a structured result out.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "CheckResult.h"
#include "ConnectionOptions.h"
#include "ModuleSession.h"

namespace qnhost {

struct CheckSpec {
    std::string name;
    std::size_t minArgs = 0;
    std::size_t maxArgs = 0;
    bool sampling = false;           // waits and measures: show progress
    bool changesComputer = false;    // asks for confirmation
    bool webAdministration = false;  // runs in root/WebAdministration unless a namespace is given
    std::function<CheckResult(ModuleHandle, const CheckParameters&, const std::vector<std::string>&)> run;
};

const std::vector<CheckSpec>& AllChecks();
const CheckSpec* FindCheck(const std::string& name);

}  // namespace qnhost
