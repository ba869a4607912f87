#include <gtest/gtest.h>

#include <clocale>

#include "platform/TextConversion.h"

namespace qn::platform {
namespace {

TEST(TextConversionTest, ConvertsToUtf8WhateverTheLocale) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(Utf16ToAnsi(u"Gr\u00fc\u00dfe \u20ac"),
              "Gr\xc3\xbc\xc3\x9f"
              "e \xe2\x82\xac");
    EXPECT_EQ(Utf16ToAnsi(u"\U0001F600"), "\xf0\x9f\x98\x80");  // surrogate pair
    EXPECT_EQ(Utf16ToAnsi(u""), "");
    // Unpaired surrogates become replacement characters, also at the end.
    const char16_t lonely[] = {u'a', 0xD800, u'b', 0xDC00};
    EXPECT_EQ(Utf16ToAnsi(std::u16string_view(lonely, 4)),
              "a\xef\xbf\xbd"
              "b\xef\xbf\xbd");
}

}  // namespace
}  // namespace qn::platform
