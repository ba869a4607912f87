#include "platform/windows/Bstr.h"

#include <windows.h>

#include <new>
#include <utility>

#include "platform/TextConversion.h"
#include "platform/windows/WideText.h"

namespace qn::platform::windows {

Bstr::Bstr(std::string_view ansi) {
    const std::wstring wide = AnsiToWide(ansi);
    value_ = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
    if (value_ == nullptr) throw std::bad_alloc();
}

Bstr::~Bstr() {
    Free();
}

Bstr::Bstr(Bstr&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}

Bstr& Bstr::operator=(Bstr&& other) noexcept {
    if (this != &other) {
        Free();
        value_ = std::exchange(other.value_, nullptr);
    }
    return *this;
}

BSTR* Bstr::Receive() {
    Free();
    return &value_;
}

BSTR Bstr::Release() {
    return std::exchange(value_, nullptr);
}

std::string Bstr::ToAnsi() const {
    if (value_ == nullptr) return {};
    return Utf16ToAnsi(std::u16string_view(reinterpret_cast<const char16_t*>(value_), SysStringLen(value_)));
}

void Bstr::Wipe() {
    if (value_ != nullptr) SecureZeroMemory(value_, SysStringByteLen(value_));
}

void Bstr::Free() {
    if (value_ != nullptr) SysFreeString(std::exchange(value_, nullptr));
}

}  // namespace qn::platform::windows
