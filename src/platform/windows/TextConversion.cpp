// UTF-16 to the system ANSI code page, as every text from COM is converted the moment it is read.
#include "platform/TextConversion.h"

#include <windows.h>

#include <climits>
#include <new>

namespace qn::platform {

std::string Utf16ToAnsi(std::u16string_view text) {
    if (text.empty()) return {};
    if (text.size() > static_cast<std::size_t>(INT_MAX)) throw std::bad_alloc();
    const auto* wide = reinterpret_cast<const wchar_t*>(text.data());
    const int length = static_cast<int>(text.size());
    const int needed = WideCharToMultiByte(CP_ACP, 0, wide, length, nullptr, 0, nullptr, nullptr);
    if (needed <= 0) return {};
    std::string ansi(static_cast<std::size_t>(needed), '\0');
    WideCharToMultiByte(CP_ACP, 0, wide, length, ansi.data(), needed, nullptr, nullptr);
    return ansi;
}

}  // namespace qn::platform
