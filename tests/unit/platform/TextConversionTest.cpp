#include <gtest/gtest.h>

#include <clocale>

#include "platform/TextConversion.h"

namespace qn::platform {
namespace {

TEST(TextConversionTest, ConvertsToUtf8WhateverTheLocale) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(Utf16ToAnsi(u"Druckwarteschlange"), "Druckwarteschlange");
    EXPECT_EQ(Utf16ToAnsi(u"Gr\u00fc\u00dfe"),
              "Gr\xc3\xbc\xc3\x9f"
              "e");
    EXPECT_EQ(Utf16ToAnsi(u"\u20ac\u65e5"), "\xe2\x82\xac\xe6\x97\xa5");
    EXPECT_EQ(Utf16ToAnsi(u"\U0001F600"), "\xf0\x9f\x98\x80");  // surrogate pair
    EXPECT_EQ(Utf16ToAnsi(u""), "");
    // Unpaired surrogates become replacement characters.
    const char16_t lonelyHigh[] = {u'a', 0xD800, u'b'};
    const char16_t lonelyLowAtEnd[] = {u'a', 0xDC00};
    EXPECT_EQ(Utf16ToAnsi(std::u16string_view(lonelyHigh, 3)),
              "a\xef\xbf\xbd"
              "b");
    EXPECT_EQ(Utf16ToAnsi(std::u16string_view(lonelyLowAtEnd, 2)), "a\xef\xbf\xbd");
}

}  // namespace
}  // namespace qn::platform
