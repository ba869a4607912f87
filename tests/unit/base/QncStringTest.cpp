#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>
#include <vector>

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
    text.Format("[%s]", text.GetText());  // its own text as an argument
    EXPECT_STREQ(text.GetText(), "[-5-x-00000ABC]");
}

TEST(QncStringTest, AppendCharIfMissingTrimAndRemovePrefix) {
    CQncString text;
    EXPECT_STREQ(text.AppendCharIfMissing('\\').GetText(), "\\");
    EXPECT_STREQ(text.AppendCharIfMissing('\\').GetText(), "\\");
    text.Assign("c:\\dir");
    EXPECT_STREQ(text.AppendCharIfMissing('\\').GetText(), "c:\\dir\\");

    text.Assign(" \t\r\n a b \r\n\t ");
    EXPECT_STREQ(text.Trim().GetText(), "a b");
    text.Assign(" \r\n ");
    EXPECT_STREQ(text.Trim().GetText(), "");

    text.Assign("WIN32_Process");
    EXPECT_STREQ(text.RemovePrefix("win32_").GetText(), "Process");  // without regard to case
    for (const char* kept : {"", "ProcessAndMore", "ess", static_cast<const char*>(nullptr)})
        EXPECT_STREQ(text.RemovePrefix(kept).GetText(), "Process");
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

// Token(index) for each index in turn, on one string: jumps back and forward rescan from the start.
std::vector<std::string> Tokens(CQncString& text, const char* separator, const std::vector<int>& indexes) {
    std::vector<std::string> tokens;
    CQncString token;
    for (int index : indexes) tokens.emplace_back(text.Token(separator, token, index).GetText());
    return tokens;
}

TEST(QncStringTest, TokenSplitsAtTheSeparatorKeepingEmptyPieces) {
    CQncString text("one\r\ntwo\r\nthree");
    EXPECT_EQ(Tokens(text, "\r\n", {0, 1, 2, 3, 5, 1, 0, 2, 1}),
              (std::vector<std::string>{"one", "two", "three", "", "", "two", "one", "three", "two"}));
    EXPECT_EQ(Tokens(text, "x", {0}), std::vector<std::string>{"one\r\ntwo\r\nthree"});

    text.Assign("a;;;;b;;");
    EXPECT_EQ(Tokens(text, ";;", {0, 1, 2, 3, 4}), (std::vector<std::string>{"a", "", "b", "", ""}));
    text.Assign("x;;y;;z");  // a new text restarts the scan
    EXPECT_EQ(Tokens(text, ";;", {0, 1, 2}), (std::vector<std::string>{"x", "y", "z"}));

    text.Assign("left|right");
    text.Token("|", text, 1);  // into itself
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
    // NOLINTNEXTLINE(bugprone-use-after-move): a moved-from string stays usable
    EXPECT_STREQ(original.GetText(), "");
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
    for (const char* numeric : {"12", "-5", "1-2", "0", " 7\r\n", "\t-\t"})
        EXPECT_TRUE(QncIsNumeric(numeric)) << numeric;
    for (const char* other : {"1.5", "12 MB", "", "  \r\n", "+3", "0x10"})
        EXPECT_FALSE(QncIsNumeric(other)) << other;
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
