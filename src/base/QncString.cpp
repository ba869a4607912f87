#include "base/QncString.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/TextConversion.h"

namespace {

// Where `pointer` lies inside [begin, begin + length]: compared as addresses, so a stale pointer into a
// freed buffer is only ever compared, never read.
bool LiesWithin(const char* pointer, const char* begin, std::size_t length) {
    const auto address = reinterpret_cast<std::uintptr_t>(pointer);
    const auto start = reinterpret_cast<std::uintptr_t>(begin);
    return pointer != nullptr && begin != nullptr && address >= start && address <= start + length;
}

char* AllocateEmpty() {
    char* text = static_cast<char*>(std::malloc(1));
    if (text != nullptr) text[0] = '\0';
    return text;
}

}  // namespace

CQncString::CQncString() : text_(AllocateEmpty()) {}

CQncString::CQncString(const char* text) : text_(AllocateEmpty()) {
    Assign(text);
}

CQncString::CQncString(const CQncString& other) : text_(AllocateEmpty()) {
    Assign(other.GetText());
}

CQncString::CQncString(CQncString&& other) noexcept
    : text_(other.text_), formatBuffer_(other.formatBuffer_), workBuffer_(other.workBuffer_) {
    other.text_ = nullptr;
    other.formatBuffer_ = nullptr;
    other.workBuffer_ = nullptr;
    other.lastToken_ = -1;
    other.lastTokenEnd_ = nullptr;
}

CQncString& CQncString::operator=(const CQncString& other) {
    return Assign(other.GetText());
}

CQncString& CQncString::operator=(CQncString&& other) noexcept {
    if (this == &other) return *this;
    std::free(text_);
    text_ = other.text_;
    other.text_ = nullptr;
    other.lastToken_ = -1;
    other.lastTokenEnd_ = nullptr;
    return *this;
}

CQncString::~CQncString() {
    std::free(text_);
    std::free(formatBuffer_);
    std::free(workBuffer_);
}

std::size_t CQncString::Length() const {
    return std::strlen(GetText());
}

bool CQncString::AssignRange(const char* text, std::size_t length) {
    const std::size_t currentLength = Length();
    if (text_ != nullptr && LiesWithin(text, text_, currentLength)) {
        // A piece of our own text: move it down first, then shrink.
        std::memmove(text_, text, length);
        text_[length] = '\0';
        if (char* shrunk = static_cast<char*>(std::realloc(text_, length + 1))) text_ = shrunk;
        return true;
    }
    char* grown = static_cast<char*>(std::realloc(text_, length + 1));
    if (grown == nullptr) return false;
    text_ = grown;
    std::memcpy(text_, text, length);
    text_[length] = '\0';
    return true;
}

CQncString& CQncString::Assign(const char* text) {
    if (text == nullptr) text = "";
    AssignRange(text, std::strlen(text));
    return *this;
}

CQncString& CQncString::AssignBstr(const char16_t* text) {
    if (text == nullptr) return Assign("");
    std::size_t length = 0;
    while (text[length] != u'\0') ++length;
    const std::string converted = qn::platform::Utf16ToAnsi(std::u16string_view(text, length));
    AssignRange(converted.c_str(), converted.size());
    return *this;
}

CQncString& CQncString::Append(const char* text) {
    if (text == nullptr || *text == '\0') return *this;
    const std::size_t currentLength = Length();
    const std::size_t addLength = std::strlen(text);
    // Appending (part of) ourselves: remember the offset, realloc may move the buffer.
    const bool aliased = text_ != nullptr && LiesWithin(text, text_, currentLength);
    const std::size_t offset = aliased ? static_cast<std::size_t>(text - text_) : 0;
    char* grown = static_cast<char*>(std::realloc(text_, currentLength + addLength + 1));
    if (grown == nullptr) return *this;
    text_ = grown;
    if (aliased) text = text_ + offset;
    std::memmove(text_ + currentLength, text, addLength);
    text_[currentLength + addLength] = '\0';
    return *this;
}

CQncString& CQncString::AppendCharIfMissing(char c) {
    const std::size_t length = Length();
    if (length > 0 && GetText()[length - 1] == c) return *this;
    const char suffix[2] = {c, '\0'};
    return Append(suffix);
}

CQncString& CQncString::Format(const char* format, ...) {
    if (format == nullptr) return *this;
    if (formatBuffer_ == nullptr) {
        formatBuffer_ = static_cast<char*>(std::malloc(kFormatBufferSize));
        if (formatBuffer_ == nullptr) return *this;
    }
    std::va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(formatBuffer_, kFormatBufferSize - 1, format, args);
    va_end(args);
    // Too long for the buffer: the result is empty, as a checked formatter leaves it.
    if (length < 0 || static_cast<std::size_t>(length) > kFormatBufferSize - 2) formatBuffer_[0] = '\0';
    return Assign(formatBuffer_);
}

CQncString& CQncString::Trim() {
    const std::string_view text = GetText();
    const std::string_view trimmed = QncTrimmed(text);
    if (trimmed.size() == text.size()) return *this;
    AssignRange(trimmed.data(), trimmed.size());
    return *this;
}

CQncString& CQncString::RemovePrefix(const char* prefix) {
    if (prefix == nullptr || *prefix == '\0') return *this;
    const std::size_t prefixLength = std::strlen(prefix);
    if (Length() < prefixLength) return *this;
    if (QncStrnicmp(GetText(), prefix, prefixLength) != 0) return *this;
    AssignRange(GetText() + prefixLength, Length() - prefixLength);
    return *this;
}

CQncString& CQncString::ReplaceAll(const char* what, const char* with) {
    if (what == nullptr || *what == '\0') return *this;
    if (with == nullptr) with = "";
    const std::size_t whatLength = std::strlen(what);
    const char* text = GetText();
    std::string result;
    bool replaced = false;
    for (std::size_t i = 0; text[i] != '\0';) {
        if (QncStrnicmp(text + i, what, whatLength) == 0) {
            result.append(with);
            i += whatLength;
            replaced = true;
        } else {
            result.push_back(text[i++]);
        }
    }
    if (replaced) AssignRange(result.c_str(), result.size());
    return *this;
}

CQncString& CQncString::Token(const char* separator, CQncString& out, int index) {
    const char* text = GetText();
    const std::size_t length = std::strlen(text);
    if (separator == nullptr || *separator == '\0' || index < 0) {
        out.Assign(index == 0 ? text : "");
        return out;
    }
    const std::size_t separatorLength = std::strlen(separator);

    const char* position = text;
    int skip = index;
    if (lastToken_ >= 0 && index == lastToken_ + 1 && LiesWithin(lastTokenEnd_, text, length)) {
        position = lastTokenEnd_;
        skip = 0;
    }
    for (; skip > 0; --skip) {
        const char* found = std::strstr(position, separator);
        if (found == nullptr) {
            lastToken_ = -1;
            lastTokenEnd_ = nullptr;
            out.Assign("");
            return out;
        }
        position = found + separatorLength;
    }
    const char* end = std::strstr(position, separator);
    const std::size_t tokenLength =
        end != nullptr ? static_cast<std::size_t>(end - position) : std::strlen(position);
    lastToken_ = index;
    lastTokenEnd_ = end != nullptr ? end + separatorLength : position + tokenLength;
    if (&out == this) {
        const std::string token(position, tokenLength);
        out.AssignRange(token.c_str(), token.size());
    } else {
        out.AssignRange(position, tokenLength);
    }
    return out;
}
