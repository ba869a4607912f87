// The result type of every call that can fail, shared by the WS-Management client and the module's platform
// seam: an HRESULT as Windows reports it, negative for a failure.
#pragma once

#include <cstdint>

namespace wsman {

using HResult = std::int32_t;

constexpr HResult kOk = 0;
constexpr bool Failed(HResult hr) {
    return hr < 0;
}
constexpr bool Succeeded(HResult hr) {
    return hr >= 0;
}
// Codes are written as the unsigned hexadecimal numbers Windows' headers use.
constexpr HResult ToHResult(std::uint32_t code) {
    return static_cast<HResult>(code);
}

}  // namespace wsman
