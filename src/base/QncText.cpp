#include "base/QncText.h"

namespace {

unsigned char FoldToUpper(unsigned char c) {
    return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 32) : c;
}

// Comparisons fold to lower case, as _stricmp does: it decides where '_' sorts against letters.
unsigned char FoldToLower(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + 32) : c;
}

}  // namespace

char QncToUpperAscii(char c) {
    return static_cast<char>(FoldToUpper(static_cast<unsigned char>(c)));
}

int QncStrnicmp(const char* left, const char* right, std::size_t count) {
    if (left == nullptr) left = "";
    if (right == nullptr) right = "";
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char a = FoldToLower(static_cast<unsigned char>(left[i]));
        const unsigned char b = FoldToLower(static_cast<unsigned char>(right[i]));
        if (a != b) return a < b ? -1 : 1;
        if (a == '\0') return 0;
    }
    return 0;
}

int QncStricmp(const char* left, const char* right) {
    return QncStrnicmp(left, right, static_cast<std::size_t>(-1));
}

char* QncStrupr(char* text) {
    if (text == nullptr) return nullptr;
    for (char* c = text; *c != '\0'; ++c) *c = QncToUpperAscii(*c);
    return text;
}

bool QncIsNumeric(const char* text) {
    if (text == nullptr) return false;
    const std::string_view trimmed = QncTrimmed(text);
    if (trimmed.empty()) return false;
    for (const char c : trimmed) {
        if (!((c >= '0' && c <= '9') || c == '-')) return false;
    }
    return true;
}
