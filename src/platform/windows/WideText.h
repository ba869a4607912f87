// ANSI (the system code page) to UTF-16, for the texts the module hands to COM.
#pragma once

#include <string>
#include <string_view>

namespace qn::platform::windows {

std::wstring AnsiToWide(std::string_view ansi);

}  // namespace qn::platform::windows
