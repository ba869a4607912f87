#include "platform/windows/WideText.h"

#include <windows.h>

#include <climits>
#include <new>

namespace qn::platform::windows {

std::wstring AnsiToWide(std::string_view ansi) {
    if (ansi.empty()) return {};
    if (ansi.size() > static_cast<std::size_t>(INT_MAX)) throw std::bad_alloc();
    const int length = static_cast<int>(ansi.size());
    const int needed = MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, nullptr, 0);
    if (needed <= 0) return {};
    std::wstring wide(static_cast<std::size_t>(needed), L'\0');
    MultiByteToWideChar(CP_ACP, 0, ansi.data(), length, wide.data(), needed);
    return wide;
}

}  // namespace qn::platform::windows
