// CQncString: the module's owning, growable, NUL-terminated ANSI string.
#pragma once

#include <cstddef>

#include "base/QncText.h"

class CQncString {
  public:
    CQncString();
    explicit CQncString(const char* text);
    CQncString(const CQncString& other);
    CQncString(CQncString&& other) noexcept;
    CQncString& operator=(const CQncString& other);
    CQncString& operator=(CQncString&& other) noexcept;
    CQncString& operator=(const char* text) { return Assign(text); }
    virtual ~CQncString();

    // Null assigns the empty text.
    CQncString& Assign(const char* text);
    // Assigns a NUL-terminated UTF-16 text converted to ANSI (BSTR on Windows); null assigns the empty text.
    CQncString& AssignBstr(const char16_t* text);
    CQncString& Append(const char* text);
    // Appends `c` unless the text is non-empty and already ends with it.
    CQncString& AppendCharIfMissing(char c);
    // printf-style, at most 2,046 characters. A longer result is a caller error: the text becomes empty.
    // A failed allocation leaves the text unchanged.
    CQncString& Format(const char* format, ...) QNC_PRINTF_FORMAT(2, 3);
    // Removes blanks, tabs, CR and LF from both ends.
    CQncString& Trim();
    // Removes `prefix` from the start when it is there, compared without regard to case.
    CQncString& RemovePrefix(const char* prefix);
    // Replaces every occurrence of `what`, found without regard to case, by `with`.
    CQncString& ReplaceAll(const char* what, const char* with);
    // out := the `index`-th piece of the text split at `separator` (case-sensitive); empty past the last.
    // Reading 0, 1, 2, ... in order continues from where the previous call stopped.
    CQncString& Token(const char* separator, CQncString& out, int index);

    const char* GetText() const { return text_ != nullptr ? text_ : ""; }
    std::size_t Length() const;
    bool IsEmpty() const { return GetText()[0] == '\0'; }
    // The module's numeric test (see QncIsNumeric).
    bool IsNumeric() const { return QncIsNumeric(GetText()); }

    static constexpr std::size_t kFormatBufferSize = 2048;

  private:
    bool AssignRange(const char* text, std::size_t length);

    char* text_ = nullptr;          // owned, realloc'd; null only after being moved from
    char* formatBuffer_ = nullptr;  // owned, kFormatBufferSize bytes once Format was called
    char* workBuffer_ = nullptr;    // owned
    int lastToken_ = -1;
    const char* lastTokenEnd_ = nullptr;
};
