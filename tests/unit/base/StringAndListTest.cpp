#include <gtest/gtest.h>

#include <clocale>
#include <string>
#include <utility>
#include <vector>

#include "base/QncErrors.h"
#include "base/QncList.h"
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

std::vector<std::string> Items(const CQncList& list) {
    std::vector<std::string> items;
    for (const CQncListNode* node = list.GetHead(); node != nullptr; node = node->next)
        items.emplace_back(static_cast<const CQnsString*>(node->item)->text.GetText());
    return items;
}

std::string Joined(CQncListString& list, int maxLength) {
    CQncString out("stale");
    return list.Join(out, maxLength).GetText();
}

TEST(ListStringTest, DuplicatesDifferingOnlyInCaseAreRefusedUnlessAsked) {
    CQncListString list;
    EXPECT_EQ(list.AddString("Spooler"), 1);
    EXPECT_EQ(list.AddString("SPOOLER"), 0);
    EXPECT_EQ(list.AddString(nullptr), 1);
    EXPECT_EQ(list.AddString(" \t"), 0);  // trims to the empty text, already listed

    auto* again = new CQnsString("SPOOLER");
    EXPECT_EQ(list.Add(again, 0), 0);  // refused: still ours
    EXPECT_EQ(list.Add(again, 1), 1);
    EXPECT_EQ(list.GetTail()->item, again);
}

TEST(ListStringTest, SortIsCaseInsensitive) {
    CQncListString list;
    for (const char* name : {"b", "A", "c", "_under", "B2"}) list.AddString(name);
    list.Sort();
    EXPECT_EQ(Items(list), (std::vector<std::string>{"_under", "A", "b", "B2", "c"}));
}

TEST(ListStringTest, JoinCountsTheSeparatorBeforeTheFirstItemAndStopsAtTheFirstMisfit) {
    CQncListString list;
    list.separator.Assign("||");
    list.separatorLength = 2;
    list.AddString("123456789");
    EXPECT_EQ(Joined(list, 10), "");
    list.AddString("ab");
    list.AddString("c");
    // "ab" needs 9 + 2 + 2 = 13, then "c" 13 + 1 + 2 = 16.
    EXPECT_EQ(Joined(list, 15), "123456789||ab");
    EXPECT_EQ(Joined(list, 16), "123456789||ab||c");

    CQncListString names;
    names.AddString("long-name");
    names.AddString("x");
    EXPECT_EQ(Joined(names, 5), "");  // "x" would fit, but the join ended
    names.separatorLength = 0;        // the count, not the text, is what the limit uses
    EXPECT_EQ(Joined(names, 10), "long-name,x");
}

TEST(ListStringTest, ParseSplitsTrimsDeduplicatesAndSorts) {
    CQncListString list;
    list.separator.Assign("||");
    list.separatorLength = 2;
    list.altSeparator.Assign(";;");
    list.AddString("dropped by Parse");
    list.Parse("  svchost.exe;;System|| explorer.exe ||SVCHOST.EXE  ");
    EXPECT_EQ(Items(list), (std::vector<std::string>{"explorer.exe", "svchost.exe", "System"}));
    CQncListString defaults;  // "," with ";" as the alternative
    defaults.Parse("b;a,c");
    EXPECT_EQ(Items(defaults), (std::vector<std::string>{"a", "b", "c"}));
}

class CountedItem : public CQncBase {
  public:
    explicit CountedItem(int& destroyed) : destroyed_(destroyed) {}
    ~CountedItem() override { ++destroyed_; }
    int& destroyed_;
};

TEST(ListTest, ItemsAreDestroyedOnlyWhenTheListOwnsThem) {
    int destroyed = 0;
    CountedItem kept(destroyed);
    {
        CQncList owning;
        owning.Add(new CountedItem(destroyed), 1);
        owning.Clear();
        EXPECT_EQ(owning.GetTail(), nullptr);
        owning.Add(new CountedItem(destroyed), 1);
        CQncList borrowing;
        borrowing.ownsItems = 0;
        borrowing.Add(&kept, 1);
    }
    EXPECT_EQ(destroyed, 2);  // by Clear and by the owning list's destructor
}

}  // namespace
