#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>

#include "base/QncString.h"

namespace {

TEST(QncStringTest, FormatAcceptsUpTo2046CharactersAndEmptiesLongerResults) {
    CQncString text("before");
    text.Format("%s", std::string(2046, 'a').c_str());
    EXPECT_EQ(text.Length(), 2046u);
    text.Format("%s", std::string(2047, 'b').c_str());
    EXPECT_STREQ(text.GetText(), "");
    text.Format("%s", std::string(10000, 'c').c_str());
    EXPECT_STREQ(text.GetText(), "");
    text.Format("%d-%s-%08lX", -5, "x", 0xABCUL);
    EXPECT_STREQ(text.GetText(), "-5-x-00000ABC");
}

TEST(QncStringTest, FormatMayUseItsOwnText) {
    CQncString text("abc");
    text.Format("[%s]", text.GetText());
    EXPECT_STREQ(text.GetText(), "[abc]");
}

TEST(QncStringTest, AppendCharIfMissing) {
    CQncString text;
    text.AppendCharIfMissing('\\');
    EXPECT_STREQ(text.GetText(), "\\");
    text.AppendCharIfMissing('\\');
    EXPECT_STREQ(text.GetText(), "\\");
    text.Assign("c:\\dir");
    text.AppendCharIfMissing('\\');
    EXPECT_STREQ(text.GetText(), "c:\\dir\\");
}

TEST(QncStringTest, TrimRemovesBlanksTabsAndBreaksAtBothEnds) {
    CQncString text(" \t\r\n a b \r\n\t ");
    EXPECT_STREQ(text.Trim().GetText(), "a b");
    text.Assign(" \r\n ");
    EXPECT_STREQ(text.Trim().GetText(), "");
}

TEST(QncStringTest, RemovePrefixIgnoresCase) {
    CQncString text("WIN32_Process");
    EXPECT_STREQ(text.RemovePrefix("win32_").GetText(), "Process");
    EXPECT_STREQ(text.RemovePrefix("").GetText(), "Process");
    EXPECT_STREQ(text.RemovePrefix("ProcessAndMore").GetText(), "Process");
    EXPECT_STREQ(text.RemovePrefix("ess").GetText(), "Process");
    EXPECT_STREQ(text.RemovePrefix(nullptr).GetText(), "Process");
}

TEST(QncStringTest, ReplaceAllFindsWithoutCaseAndKeepsTheRest) {
    CQncString text("Name:=A\r\nname:=b");
    EXPECT_STREQ(text.ReplaceAll("NAME", "Key").GetText(), "Key:=A\r\nKey:=b");
    EXPECT_STREQ(text.ReplaceAll("\n", "").GetText(), "Key:=A\rKey:=b");
    text.Assign("no breaks");
    EXPECT_STREQ(text.ReplaceAll("\n", " <LF> ").GetText(), "no breaks");
    // The replacement is not searched again.
    text.Assign("aXa");
    EXPECT_STREQ(text.ReplaceAll("a", "aa").GetText(), "aaXaa");
    EXPECT_STREQ(text.ReplaceAll("", "z").GetText(), "aaXaa");
}

TEST(QncStringTest, TokenSplitsAtTheSeparator) {
    CQncString text("one\r\ntwo\r\nthree");
    CQncString token;
    EXPECT_STREQ(text.Token("\r\n", token, 0).GetText(), "one");
    EXPECT_STREQ(text.Token("\r\n", token, 1).GetText(), "two");
    EXPECT_STREQ(text.Token("\r\n", token, 2).GetText(), "three");
    EXPECT_STREQ(text.Token("\r\n", token, 3).GetText(), "");
    EXPECT_STREQ(text.Token("\r\n", token, 5).GetText(), "");
    // Jumps back and forward rescan from the start.
    EXPECT_STREQ(text.Token("\r\n", token, 1).GetText(), "two");
    EXPECT_STREQ(text.Token("\r\n", token, 0).GetText(), "one");
    EXPECT_STREQ(text.Token("\r\n", token, 2).GetText(), "three");
    EXPECT_STREQ(text.Token("\r\n", token, 1).GetText(), "two");
    EXPECT_STREQ(text.Token("x", token, 0).GetText(), "one\r\ntwo\r\nthree");
}

TEST(QncStringTest, TokenKeepsEmptyPiecesAndRestartsAfterANewText) {
    CQncString text("a;;;;b;;");
    CQncString token;
    EXPECT_STREQ(text.Token(";;", token, 0).GetText(), "a");
    EXPECT_STREQ(text.Token(";;", token, 1).GetText(), "");
    EXPECT_STREQ(text.Token(";;", token, 2).GetText(), "b");
    EXPECT_STREQ(text.Token(";;", token, 3).GetText(), "");
    EXPECT_STREQ(text.Token(";;", token, 4).GetText(), "");
    text.Assign("x;;y;;z");
    EXPECT_STREQ(text.Token(";;", token, 0).GetText(), "x");
    EXPECT_STREQ(text.Token(";;", token, 1).GetText(), "y");
    EXPECT_STREQ(text.Token(";;", token, 2).GetText(), "z");
}

TEST(QncStringTest, TokenIntoItself) {
    CQncString text("left|right");
    text.Token("|", text, 1);
    EXPECT_STREQ(text.GetText(), "right");
}

TEST(QncStringTest, CopiesAreDeepAndOwnTextMayBeReused) {
    CQncString original("abc");
    CQncString copy(original);
    copy.Append("d");
    EXPECT_STREQ(original.GetText(), "abc");
    EXPECT_NE(copy.GetText(), original.GetText());
    original.Append(original.GetText());
    EXPECT_STREQ(original.GetText(), "abcabc");
    original.Assign(original.GetText() + 2);
    EXPECT_STREQ(original.GetText(), "cabc");
    const CQncString& sameObject = original;
    original = sameObject;
    EXPECT_STREQ(original.GetText(), "cabc");
    CQncString moved(std::move(original));
    EXPECT_STREQ(moved.GetText(), "cabc");
    EXPECT_STREQ(original.GetText(),
                 "");  // NOLINT(bugprone-use-after-move): a moved-from string stays usable
    original.Append("again");
    EXPECT_STREQ(original.GetText(), "again");
    original.Assign(nullptr);
    EXPECT_TRUE(original.IsEmpty());
}

TEST(QncStringTest, AssignBstrConvertsToUtf8InTheCLocale) {
    std::setlocale(LC_ALL, "C");
    CQncString text("x");
    text.AssignBstr(u"Pr\u00fcfung \u20ac");
    EXPECT_STREQ(text.GetText(),
                 "Pr\xc3\xbc"
                 "fung \xe2\x82\xac");
    text.AssignBstr(nullptr);
    EXPECT_STREQ(text.GetText(), "");
}

TEST(QncTextTest, NumericTestAllowsDigitsAndMinusOnly) {
    for (const char* numeric : {"12", "-5", "1-2", "0", " 7\r\n", "\t-\t"}) {
        EXPECT_TRUE(QncIsNumeric(numeric)) << numeric;
    }
    for (const char* other : {"1.5", "12 MB", "", "  \r\n", "+3", "0x10"}) {
        EXPECT_FALSE(QncIsNumeric(other)) << other;
    }
    EXPECT_FALSE(QncIsNumeric(nullptr));
    EXPECT_TRUE(CQncString(" 42 ").IsNumeric());
}

TEST(QncTextTest, CaseFoldingIsAsciiOnlyAndUnsigned) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(QncStricmp("Spooler", "SPOOLER"), 0);
    EXPECT_LT(QncStricmp("abc", "ABD"), 0);
    EXPECT_GT(QncStricmp("b", "A"), 0);
    EXPECT_LT(QncStricmp("ab", "abc"), 0);
    EXPECT_NE(QncStricmp("\xc3\xa4", "\xc3\x84"), 0);  // ä and Ä are different bytes
    EXPECT_GT(QncStricmp("\x80", "z"), 0);             // bytes above 127 sort after ASCII
    EXPECT_LT(QncStricmp("_", "a"), 0);                // '_' (0x5F) sorts before letters folded up
    EXPECT_EQ(QncStrnicmp("WIN32_x", "win32_y", 6), 0);
    EXPECT_EQ(QncStricmp(nullptr, ""), 0);
    char text[] = "abc\xe4z";
    EXPECT_STREQ(QncStrupr(text), "ABC\xe4Z");
}

}  // namespace
