#include "wsman/security/AccountName.h"

#include <algorithm>

namespace wsman::security {

bool IsWellFormedAccountName(std::string_view userName) {
    if (userName.empty()) return true;
    if (std::any_of(userName.begin(), userName.end(),
                    [](unsigned char c) { return c < 0x20 || c == 0x7F; })) {
        return false;
    }
    const std::size_t separators =
        static_cast<std::size_t>(std::count(userName.begin(), userName.end(), '\\') +
                                 std::count(userName.begin(), userName.end(), '@'));
    if (separators == 0) return true;
    if (separators > 1) return false;
    const std::size_t at = userName.find_first_of("\\@");
    return at > 0 && at + 1 < userName.size();
}

}  // namespace wsman::security
