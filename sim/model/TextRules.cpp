#include "model/TextRules.h"

#include <algorithm>

namespace qnsim {

namespace {
unsigned char FoldAscii(unsigned char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}
}  // namespace

std::string ToLowerAscii(std::string_view text) {
    std::string lower(text);
    for (char& c : lower) c = static_cast<char>(FoldAscii(static_cast<unsigned char>(c)));
    return lower;
}

bool EqualsIgnoreCaseAscii(std::string_view left, std::string_view right) {
    return CompareIgnoreCaseAscii(left, right) == 0;
}

int CompareIgnoreCaseAscii(std::string_view left, std::string_view right) {
    const std::size_t common = std::min(left.size(), right.size());
    for (std::size_t i = 0; i < common; ++i) {
        const unsigned char l = FoldAscii(static_cast<unsigned char>(left[i]));
        const unsigned char r = FoldAscii(static_cast<unsigned char>(right[i]));
        if (l != r) return l < r ? -1 : 1;
    }
    if (left.size() == right.size()) return 0;
    return left.size() < right.size() ? -1 : 1;
}

std::string EscapeXmlText(std::string_view text) {
    std::string escaped;
    escaped.reserve(text.size());
    for (char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

std::string EscapeXmlAttribute(std::string_view text) {
    std::string escaped;
    for (char c : EscapeXmlText(text)) escaped += c == '"' ? std::string("&quot;") : std::string(1, c);
    return escaped;
}

}  // namespace qnsim
