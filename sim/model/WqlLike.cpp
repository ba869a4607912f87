#include "model/WqlLike.h"

#include <vector>

#include "model/TextRules.h"

namespace qnsim {

namespace {

char Fold(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// Matches one character against the set that starts after '[' at `at`; moves `at` past the ']'.
bool SetMatches(std::string_view pattern, std::size_t& at, char c) {
    bool negated = false;
    if (at < pattern.size() && pattern[at] == '^') {
        negated = true;
        ++at;
    }
    bool matched = false;
    bool first = true;
    while (at < pattern.size() && (pattern[at] != ']' || first)) {
        first = false;
        const char low = Fold(pattern[at]);
        if (at + 2 < pattern.size() && pattern[at + 1] == '-' && pattern[at + 2] != ']') {
            const char high = Fold(pattern[at + 2]);
            if (c >= low && c <= high) matched = true;
            at += 3;
        } else {
            if (c == low) matched = true;
            ++at;
        }
    }
    if (at < pattern.size()) ++at;  // the closing bracket
    return matched != negated;
}

}  // namespace

bool WqlLikeMatches(std::string_view text, std::string_view pattern) {
    // Iterative matcher with one backtrack point for the last '%', as for shell globs.
    std::size_t t = 0;
    std::size_t p = 0;
    std::size_t starPattern = std::string_view::npos;
    std::size_t starText = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '%') {
            starPattern = ++p;
            starText = t;
            continue;
        }
        if (p < pattern.size()) {
            const char c = Fold(text[t]);
            std::size_t next = p + 1;
            bool matched = false;
            if (pattern[p] == '_') {
                matched = true;
            } else if (pattern[p] == '[') {
                matched = SetMatches(pattern, next, c);
            } else {
                matched = Fold(pattern[p]) == c;
            }
            if (matched) {
                p = next;
                ++t;
                continue;
            }
        }
        if (starPattern == std::string_view::npos) return false;
        p = starPattern;
        t = ++starText;
    }
    while (p < pattern.size() && pattern[p] == '%') ++p;
    return p == pattern.size();
}

}  // namespace qnsim
