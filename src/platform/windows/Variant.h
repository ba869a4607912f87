// An owning VARIANT, cleared when the owner goes.
#pragma once

#include <windows.h>

#include "platform/windows/Bstr.h"

namespace qn::platform::windows {

class Variant {
  public:
    Variant() { VariantInit(&value_); }
    // A VT_BSTR variant that takes the string over.
    explicit Variant(Bstr text) : Variant() {
        value_.vt = VT_BSTR;
        value_.bstrVal = text.Release();
    }
    // A VT_BOOL variant.
    static Variant Boolean(bool value) {
        Variant result;
        result.value_.vt = VT_BOOL;
        result.value_.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
        return result;
    }
    ~Variant() { VariantClear(&value_); }
    Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
    Variant(const Variant&) = delete;
    Variant& operator=(const Variant&) = delete;

    // Passed by value to COM methods that take a VARIANT: the callee copies what it keeps.
    const VARIANT& Get() const { return value_; }

  private:
    VARIANT value_;
};

}  // namespace qn::platform::windows
