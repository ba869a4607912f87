// What to change after a failed connection. The module reports a failure in WinRM's own words (for a refused
// connection they speak of an unsupported action), which tells a new user little; the hint says, for the
// failures a first connection commonly meets, where to look and which option or setting to change.
#pragma once

#include <string>

#include "ModuleSession.h"

namespace qnhost {

// One sentence for the WinRM code that `error` carries ("... Error 0x80338012 ..."), or empty when there is
// no hint for it.
std::string ConnectHint(const std::string& error, const ConnectSettings& settings);

}  // namespace qnhost
