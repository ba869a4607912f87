// WQL LIKE: % any run, _ one character, [abc] / [a-c] a set, [^a] a negated set; letters match either case.
#pragma once

#include <string_view>

namespace qnsim {

bool WqlLikeMatches(std::string_view text, std::string_view pattern);

}  // namespace qnsim
