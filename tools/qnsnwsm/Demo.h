// `qnsnwsm demo`: the bundled simulator on a free loopback port, a generated account, NTLM with message
// encryption, every check and action, the report, and the simulator stopped again.
#pragma once

#include <iosfwd>

#include "CliOptions.h"

namespace qncli {

int RunDemo(const CliOptions& options, std::ostream& out, std::ostream& err);

}  // namespace qncli
