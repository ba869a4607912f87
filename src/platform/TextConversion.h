// UTF-16 to the module's ANSI text: the system ANSI code page on Windows, UTF-8 on POSIX whatever the
// process locale, so a non-ASCII name never turns into '?'.
#pragma once

#include <string>
#include <string_view>

namespace qn::platform {

std::string Utf16ToAnsi(std::u16string_view text);

}  // namespace qn::platform
