#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/QncList.h"

namespace {

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
