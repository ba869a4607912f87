// An owning BSTR, built from and read back as the module's ANSI text.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace qn::platform::windows {

class Bstr {
  public:
    Bstr() = default;
    // From ANSI text (the system code page). Throws std::bad_alloc when the string cannot be allocated.
    explicit Bstr(std::string_view ansi);
    ~Bstr();
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    Bstr(Bstr&& other) noexcept;
    Bstr& operator=(Bstr&& other) noexcept;

    BSTR Get() const { return value_; }
    // For out-parameters: frees what is held and hands out the slot.
    BSTR* Receive();
    // Gives up ownership, for a VARIANT that takes it over.
    BSTR Release();

    // The text in the system ANSI code page; empty for a null BSTR.
    std::string ToAnsi() const;

    // Overwrites the characters before freeing them (passwords).
    void Wipe();

  private:
    void Free();
    BSTR value_ = nullptr;
};

}  // namespace qn::platform::windows
