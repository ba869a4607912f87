// The plugin's --help: options, then every mode with its arguments, states and perfdata.
#pragma once

#include <string>

namespace qncheck {

// Every mode, or only `mode` when it names one.
std::string HelpText(const std::string& mode);

}  // namespace qncheck
