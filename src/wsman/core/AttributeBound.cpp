#include "wsman/core/AttributeBound.h"

#include <cstring>

namespace wsman::xml {

namespace {

// The shortest attribute, a="", takes four bytes.
constexpr std::size_t kShortestAttribute = 4;

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

const char* Find(const char* from, const char* end, char c) {
    const void* found = std::memchr(from, c, static_cast<std::size_t>(end - from));
    return found != nullptr ? static_cast<const char*>(found) : end;
}

// The '=' signs of one start tag outside quoted values, up to its '>' or `end`.
bool TagWithinBound(const char* at, const char* end) {
    std::size_t attributes = 0;
    while (at != end) {
        const char c = *at;
        if (c == '"' || c == '\'') {
            at = Find(at + 1, end, c);
            if (at != end) ++at;
        } else if (c == '=') {
            if (++attributes > kMaxAttributesPerElement) return false;
            ++at;
        } else if (c == '>') {
            return true;
        } else {
            ++at;
        }
    }
    return true;
}

// Whether some '<' is followed by more than `room` bytes without another. From each '<' the last '<' of the
// next `room` bytes is looked up, so the text is crossed in steps of about `room` bytes.
bool HasStretchWithoutTag(const char* at, const char* const end, std::size_t room) {
    at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)));
    if (at == nullptr) return false;
    while (static_cast<std::size_t>(end - at - 1) > room) {
        at = static_cast<const char*>(memrchr(at + 1, '<', room));
        if (at == nullptr) return true;
    }
    return false;
}

}  // namespace

// A '<' cannot stand in a tag, not even in a quoted value: the parser ends the tag's attributes there and
// reads on from that '<'. So a start tag's attributes lie between its '<' and the next one, and only a tag
// with that much room for them needs counting: mostly none. Comments, CDATA and processing instructions are
// skipped whole, as the parser reads them.
bool AttributesWithinBound(std::string_view text) {
    constexpr std::size_t kRoom = kShortestAttribute * kMaxAttributesPerElement;
    if (!HasStretchWithoutTag(text.data(), text.data() + text.size(), kRoom)) return true;
    const char* at = text.data();
    const char* const end = at + text.size();
    while ((at = static_cast<const char*>(std::memchr(at, '<', static_cast<std::size_t>(end - at)))) !=
           nullptr) {
        const char next = end - at > 1 ? at[1] : '\0';
        if (next == '!' && StartsWith(at, end, "<!--")) {
            at = After(at + 4, end, "-->");
            continue;
        }
        if (next == '!' && StartsWith(at, end, "<![CDATA[")) {
            at = After(at + 9, end, "]]>");
            continue;
        }
        if (next == '?') {
            at = After(at + 2, end, "?>");
            continue;
        }
        const char* const following = Find(at + 1, end, '<');
        if (next != '/' && next != '!' && static_cast<std::size_t>(following - at - 1) > kRoom &&
            !TagWithinBound(at + 1, following)) {
            return false;
        }
        at = following;
    }
    return true;
}

}  // namespace wsman::xml
