#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "FixedClock.h"
#include "TestFiles.h"
#include "base/QncList.h"

namespace {

std::vector<std::string> Items(const CQncList& list) {
    std::vector<std::string> items;
    for (const CQncListNode* node = list.GetHead(); node != nullptr; node = node->next) {
        items.emplace_back(static_cast<const CQnsString*>(node->item)->text.GetText());
    }
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
    EXPECT_EQ(list.AddString("  x \r\n"), 1);
    EXPECT_EQ(list.AddString(nullptr), 1);
    EXPECT_EQ(list.AddString(" \t"), 0);  // trims to the empty text, already listed
    EXPECT_EQ(Items(list), (std::vector<std::string>{"Spooler", "x", ""}));
    EXPECT_EQ(list.GetCurrent(), list.GetHead());
    EXPECT_EQ(list.Count(), 3u);

    // Add takes a duplicate only when asked to.
    EXPECT_EQ(list.Add(new CQnsString("Themes"), 0), 1);
    auto* again = new CQnsString("SPOOLER");
    EXPECT_EQ(list.Add(again, 0), 0);  // refused: still ours
    EXPECT_EQ(list.Add(again, 1), 1);
    EXPECT_EQ(list.GetTail()->item, again);
    EXPECT_EQ(list.Add(nullptr, 1), 0);
}

TEST(ListStringTest, SortIsCaseInsensitiveKeepsTheNodesAndWritesTheDebugFile) {
    qn::test::ScopedFixedClock clock;
    qntest::ScratchFolder folder;
    CQncListString list;
    list.debugFile.Assign(folder.File("debug.log").c_str());
    for (const char* name : {"b", "A", "c", "_under", "B2"}) list.AddString(name);
    const CQncListNode* head = list.GetHead();
    list.Sort();
    EXPECT_EQ(Items(list), (std::vector<std::string>{"_under", "A", "b", "B2", "c"}));
    EXPECT_EQ(list.GetHead(), head);
    EXPECT_EQ(qntest::ReadFile(folder.File("debug.log")),
              "[01:02:03 4242] [base_tests] [Start...]\n[01:02:03 4242] [base_tests] [End.]\n");
    CQncListString empty;
    empty.Sort();
    EXPECT_TRUE(empty.IsEmpty());
}

TEST(ListStringTest, JoinCountsTheSeparatorBeforeTheFirstItem) {
    CQncListString list;
    list.separator.Assign("||");
    list.separatorLength = 2;
    list.AddString("123456789");
    EXPECT_EQ(Joined(list, 10), "");
    EXPECT_EQ(Joined(list, 11), "123456789");
    list.AddString("ab");
    list.AddString("c");
    // "ab" needs 9 + 2 + 2 = 13, then "c" 13 + 1 + 2 = 16.
    EXPECT_EQ(Joined(list, 12), "123456789");
    EXPECT_EQ(Joined(list, 15), "123456789||ab");
    EXPECT_EQ(Joined(list, 16), "123456789||ab||c");
    EXPECT_EQ(Joined(list, -1), "123456789||ab||c");
    EXPECT_EQ(list.GetCurrent(), list.GetTail());
}

TEST(ListStringTest, JoinStopsAtTheFirstItemThatDoesNotFit) {
    CQncListString list;
    list.AddString("long-name");
    list.AddString("x");
    EXPECT_EQ(Joined(list, 5), "");  // "x" would fit, but the join ended
    list.separatorLength = 0;        // the count, not the text, is what the limit uses
    EXPECT_EQ(Joined(list, 9), "long-name");
    EXPECT_EQ(Joined(list, 10), "long-name,x");
    list.separator.Assign("");  // an empty separator joins nothing
    EXPECT_EQ(Joined(list, -1), "");
    CQncListString empty;
    EXPECT_EQ(Joined(empty, -1), "");
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
    defaults.Parse("");
    EXPECT_EQ(Items(defaults), (std::vector<std::string>{""}));
}

class CountedItem : public CQncBase {
  public:
    explicit CountedItem(int& destroyed) : destroyed_(destroyed) {}
    ~CountedItem() override { ++destroyed_; }

  private:
    int& destroyed_;
};

TEST(ListTest, ClearDestroysItemsOnlyWhenItOwnsThem) {
    int destroyed = 0;
    {
        CQncList owning;
        owning.Add(new CountedItem(destroyed), 1);
        owning.Add(new CountedItem(destroyed), 1);
        owning.Clear();
        EXPECT_EQ(destroyed, 2);
        EXPECT_EQ(owning.GetHead(), nullptr);
        EXPECT_EQ(owning.GetTail(), nullptr);
        EXPECT_EQ(owning.GetCurrent(), nullptr);
        owning.Add(new CountedItem(destroyed), 1);
    }
    EXPECT_EQ(destroyed, 3);  // the destructor clears

    CountedItem kept(destroyed);
    {
        CQncList borrowing;
        borrowing.ownsItems = 0;
        borrowing.Add(&kept, 1);
    }
    EXPECT_EQ(destroyed, 3);
}

}  // namespace
