#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>
#include <vector>

#include "base/QncErrors.h"
#include "base/QncString.h"

namespace {

TEST(QncStringTest, FormatEmptiesResultsOver2046CharactersAndTakesItsOwnText) {
    CQncString text("before");
    text.Format("%s", std::string(2046, 'a').c_str());
    EXPECT_EQ(text.Length(), 2046u);
    text.Format("%s", std::string(2047, 'b').c_str());
    EXPECT_STREQ(text.GetText(), "");
    text.Format("%d-%s-%08lX", -5, "x", 0xABCUL);
    text.Format("[%s]", text.GetText());  // its own text as an argument
    EXPECT_STREQ(text.GetText(), "[-5-x-00000ABC]");
    text.AssignBstr(nullptr);
    EXPECT_STREQ(text.GetText(), "");
}

TEST(QncStringTest, TrimRemovePrefixAndReplaceAllIgnoreCase) {
    CQncString text(" \t\r\n a b \r\n\t ");
    EXPECT_STREQ(text.Trim().GetText(), "a b");
    text.Assign("WIN32_Process");
    EXPECT_STREQ(text.RemovePrefix("win32_").GetText(), "Process");
    text.Assign("aXA");                                           // the replacement is not searched again
    EXPECT_STREQ(text.ReplaceAll("a", "aa").GetText(), "aaXaa");  // and the case is ignored
    EXPECT_STREQ(text.ReplaceAll("", "z").GetText(), "aaXaa");
}

TEST(QncStringTest, TokenSplitsAtTheSeparatorKeepingEmptyPieces) {
    // Token(index) for each index in turn: jumps back and forward rescan from the start.
    const auto tokens = [](CQncString& text, const char* separator, const std::vector<int>& indexes) {
        std::vector<std::string> found;
        CQncString token;
        for (int index : indexes) found.emplace_back(text.Token(separator, token, index).GetText());
        return found;
    };
    CQncString text("one\r\ntwo\r\nthree");
    EXPECT_EQ(tokens(text, "\r\n", {0, 1, 2, 3, 1, 0}),
              (std::vector<std::string>{"one", "two", "three", "", "two", "one"}));
    text.Assign("a;;;;b;;");
    EXPECT_EQ(tokens(text, ";;", {0, 1, 2, 3}), (std::vector<std::string>{"a", "", "b", ""}));
    text.Assign("x;;y;;z");  // a new text restarts the scan
    EXPECT_EQ(tokens(text, ";;", {2}), std::vector<std::string>{"z"});
    text.Assign("left|right");
    text.Token("|", text, 1);  // into itself
    EXPECT_STREQ(text.GetText(), "right");
}

TEST(QncTextTest, NumericTestAllowsDigitsAndMinusOnly) {
    for (const char* numeric : {"12", "-5", " 7\r\n", "\t-\t"}) EXPECT_TRUE(QncIsNumeric(numeric)) << numeric;
    for (const char* other : {"1.5", "", "  \r\n", "+3", "0x10"}) EXPECT_FALSE(QncIsNumeric(other)) << other;
    EXPECT_FALSE(QncIsNumeric(nullptr));
}

TEST(QncTextTest, CaseFoldingIsAsciiOnlyAndUnsigned) {
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(QncStricmp("Spooler", "SPOOLER"), 0);
    EXPECT_LT(QncStricmp("ab", "abc"), 0);
    EXPECT_NE(QncStricmp("\xc3\xa4", "\xc3\x84"), 0);  // ä and Ä are different bytes
    EXPECT_GT(QncStricmp("\x80", "z"), 0);             // bytes above 127 sort after ASCII
    EXPECT_LT(QncStricmp("_", "a"), 0);                // '_' (0x5F) sorts before letters folded up
    EXPECT_EQ(QncStrnicmp("WIN32_x", "win32_y", 6), 0);
    char text[] = "abc\xe4z";
    EXPECT_STREQ(QncStrupr(text), "ABC\xe4Z");
}

TEST(ErrorTableTest, CodesHaveTheirExactTextsAndOthersAreGeneric) {
    const std::pair<int, const char*> rows[] = {
        {0, "Success"},
        {25700, "Failed to initialize MSXML::XMLDOMDocument"},
        {25701, "XSL Stylesheet missing"},
        {25702, "Load XML data failed"},
        {25703, "Tranform XML data failed"},
        {25704, "XML attribute missing"},
        {11001, "No such host is known"},
    };
    CQncString text;
    for (const auto& [code, expected] : rows)
        EXPECT_STREQ(GetErrorDescription(code, text).GetText(), expected);
    for (const int code : {25705, 25699, -1, 1})
        EXPECT_STREQ(GetErrorDescription(code, text).GetText(), "Generic Error") << code;
    EXPECT_EQ(&GetErrorDescription(1, text), &text);
}

}  // namespace
