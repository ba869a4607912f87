#include "wsman/core/AttributeBound.h"

#include <array>
#include <cstring>

namespace wsman::xml {

namespace {

// Position after `terminator` at or after `from`, or the end of the text.
const char* After(const char* from, const char* end, std::string_view terminator) {
    const std::string_view rest(from, static_cast<std::size_t>(end - from));
    const std::size_t at = rest.find(terminator);
    return at == std::string_view::npos ? end : from + at + terminator.size();
}

bool StartsWith(const char* at, const char* end, std::string_view prefix) {
    return static_cast<std::size_t>(end - at) >= prefix.size() &&
           std::memcmp(at, prefix.data(), prefix.size()) == 0;
}

// The characters a start tag's scan stops at: quotes, '=', and the ends of a tag.
constexpr auto kTagSpecial = [] {
    std::array<bool, 256> special{};
    for (const unsigned char c : {'"', '\'', '=', '>', '<'}) special[c] = true;
    return special;
}();

}  // namespace

// One pass from '<' to '<': text and end tags need no look (the next '<' is found at once), a start tag with
// a '=' is scanned for its '=' signs.
bool AttributesWithinBound(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + text.size();
    while (at != end) {
        at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
        if (at == nullptr) return true;
        const char next = end - at > 1 ? at[1] : '\0';
        if (next == '/') {
            at += 2;
        } else if (next == '!' && StartsWith(at, end, "<!--")) {
            at = After(at + 4, end, "-->");
        } else if (next == '!' && StartsWith(at, end, "<![CDATA[")) {
            at = After(at + 9, end, "]]>");
        } else if (next == '?') {
            at = After(at + 2, end, "?>");
        } else if (next == '!') {
            at += 2;
        } else {
            // A start tag: every attribute has exactly one '=' outside quoted values. Most tags have none
            // before their first '>', and then no attribute at all (a quoted value follows a '=').
            const char* close =
                static_cast<const char*>(std::memchr(at, '>', static_cast<std::size_t>(end - at)));
            const char* tagEnd = close != nullptr ? close : end;
            if (std::memchr(at, '=', static_cast<std::size_t>(tagEnd - at)) == nullptr) {
                at = tagEnd;
                continue;
            }
            // Quoted values are skipped whole; a '>' inside one does not end the tag.
            std::size_t attributes = 0;
            for (++at; at != end;) {
                const char c = *at;
                if (!kTagSpecial[static_cast<unsigned char>(c)]) {
                    ++at;
                } else if (c == '"' || c == '\'') {
                    const void* close = std::memchr(at + 1, c, static_cast<std::size_t>(end - at - 1));
                    at = close == nullptr ? end : static_cast<const char*>(close) + 1;
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
