// Text helpers shared by the whole module. Case-insensitive comparisons fold ASCII letters only (to lower
// case, so '_' sorts before letters) and compare bytes as unsigned char, on every platform and whatever the
// process locale; other bytes compare as they are.
#pragma once

#include <cstddef>
#include <string_view>

// Lets the compiler check printf-style arguments of the module's formatting calls.
#if defined(__GNUC__) || defined(__clang__)
#define QNC_PRINTF_FORMAT(formatIndex, firstArgument) \
    __attribute__((format(printf, formatIndex, firstArgument)))
#else
#define QNC_PRINTF_FORMAT(formatIndex, firstArgument)
#endif

// _stricmp: <0, 0 or >0. A null text compares as the empty text.
int QncStricmp(const char* left, const char* right);
// _strnicmp over at most `count` characters.
int QncStrnicmp(const char* left, const char* right, std::size_t count);
// _strupr: upper-cases ASCII letters in place and returns `text`.
char* QncStrupr(char* text);
char QncToUpperAscii(char c);

// Blank, tab, CR or LF: the characters every trim of the module removes.
constexpr bool QncIsTrimChar(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// `text` without the trim characters at either end.
constexpr std::string_view QncTrimmed(std::string_view text) {
    while (!text.empty() && QncIsTrimChar(text.front())) text.remove_prefix(1);
    while (!text.empty() && QncIsTrimChar(text.back())) text.remove_suffix(1);
    return text;
}

// The module's numeric test: after trimming, non-empty and made only of decimal digits and '-'
// (so "12", "-5" and "1-2" are numeric, "1.5" and "12 MB" are not).
bool QncIsNumeric(const char* text);
