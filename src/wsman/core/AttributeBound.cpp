#include "wsman/core/AttributeBound.h"

#include <array>

namespace wsman::xml {

namespace {

// Position after `terminator` at or after `from`, or the end of the text.
std::size_t After(std::string_view text, std::size_t from, std::string_view terminator) {
    const std::size_t at = text.find(terminator, from);
    return at == std::string_view::npos ? text.size() : at + terminator.size();
}

// The characters a start tag's scan stops at: quotes, '=', and the ends of a tag.
constexpr auto kTagSpecial = [] {
    std::array<bool, 256> special{};
    for (const unsigned char c : {'"', '\'', '=', '>', '<'}) special[c] = true;
    return special;
}();

}  // namespace

bool AttributesWithinBound(std::string_view text) {
    std::size_t at = 0;
    while ((at = text.find('<', at)) != std::string_view::npos) {
        const char next = at + 1 < text.size() ? text[at + 1] : '\0';
        if (next == '!' && text.substr(at, 4) == "<!--") {
            at = After(text, at + 4, "-->");
        } else if (next == '!' && text.substr(at, 9) == "<![CDATA[") {
            at = After(text, at + 9, "]]>");
        } else if (next == '?') {
            at = After(text, at + 2, "?>");
        } else if (next == '/' || next == '!') {
            at = After(text, at + 2, ">");
        } else {
            // A start tag: every attribute has exactly one '=' outside quoted values. Quoted values are
            // skipped whole; a '>' inside one does not end the tag.
            std::size_t attributes = 0;
            for (++at; at < text.size();) {
                const char c = text[at];
                if (!kTagSpecial[static_cast<unsigned char>(c)]) {
                    ++at;
                } else if (c == '"' || c == '\'') {
                    const std::size_t close = text.find(c, at + 1);
                    at = close == std::string_view::npos ? text.size() : close + 1;
                } else if (c == '=') {
                    if (++attributes > kMaxAttributesPerElement) return false;
                    ++at;
                } else {
                    break;  // '>' or '<'
                }
            }
        }
    }
    return true;
}

}  // namespace wsman::xml
