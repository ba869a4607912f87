// The forms a configured user name may take: "user", "DOMAIN\user" or "user@REALM".
#pragma once

#include <string_view>

namespace wsman::security {

// True for an empty name (the caller's own identity) and for the three forms above with no part empty,
// one separator at most and no control characters. Anything else the Windows client refuses as "not a
// properly formed account name" before it contacts the computer.
bool IsWellFormedAccountName(std::string_view userName);

}  // namespace wsman::security
