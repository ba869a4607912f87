// User accounts, groups and group members.
#include "CheckTestSupport.h"
#include "base/QncList.h"

namespace qn::checks_test {
namespace {

std::string Account(const std::optional<std::string>& caption, const std::optional<std::string>& name,
                    const std::optional<std::string>& fullName, const std::string& lockout = "false",
                    const std::string& disabled = "false") {
    return Instance("Win32_UserAccount", {{"Caption", caption},
                                          {"Disabled", disabled},
                                          {"Domain", "PC1"},
                                          {"FullName", fullName},
                                          {"Lockout", lockout},
                                          {"Name", name}});
}

std::string Group(const std::optional<std::string>& caption, const std::optional<std::string>& name,
                  const std::optional<std::string>& domain) {
    return Instance("Win32_Group", {{"Caption", caption}, {"Domain", domain}, {"Name", name}});
}

using UserAccountsTest = CheckTest;

TEST_F(UserAccountsTest, EntriesPutTheFullNameSecondAndFlagsAsDigits) {
    Fake().Answer("Win32_UserAccount",
                  {Account("PC1\\Administrator", "Administrator", "Built-in admin", "false", "false"),
                   Account("PC1\\guest", "guest", std::nullopt, "false", "true"),
                   Account("PC1\\locked", "locked", "Locked Out", "true", "false")});
    CQncListString list;
    EXPECT_EQ(Module().WinRMGetWinUserAccountList(list, error), 0);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{
                                 "PC1\\Administrator;;Built-in admin;;Administrator;;0;;0",
                                 "PC1\\guest;;;;guest;;0;;1", "PC1\\locked;;Locked Out;;locked;;1;;0"}));
}

TEST_F(UserAccountsTest, NamelessAccountEndsTheListKeepingEarlierEntries) {
    Fake().Answer("Win32_UserAccount", {Account("PC1\\a", "a", "A"), Account("PC1\\b", std::nullopt, "B"),
                                        Account("PC1\\c", "c", "C")});
    CQncListString list;
    list.AddString("stale");
    EXPECT_EQ(Module().WinRMGetWinUserAccountList(list, error), -1);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"PC1\\a;;A;;a;;0;;0"}));
}

using GroupsTest = CheckTest;

TEST_F(GroupsTest, IncompleteGroupsAreLeftOut) {
    Fake().Answer("Win32_Group", {Group("PC1\\Administrators", "Administrators", "PC1"),
                                  Group("PC1\\x", std::nullopt, "PC1"), Group(std::nullopt, "y", "PC1"),
                                  Group("CORP\\Staff", "Staff", std::nullopt)});
    CQncListString list;
    EXPECT_EQ(Module().WinRMGetWinGroupList(list, error), 0);
    EXPECT_EQ(Entries(list),
              (std::vector<std::string>{"PC1\\Administrators;;Administrators;;PC1", "CORP\\Staff;;Staff;;"}));
    EXPECT_TRUE(Traced("  Group NOT listed because of an empty item, Caption=[PC1\\x], Name=[]"));
    EXPECT_TRUE(Traced("  Group NOT listed because of an empty item, Caption=[], Name=[]"));
    EXPECT_TRUE(Traced("  Group listed, Caption=[CORP\\Staff], Name=[Staff]"));
    EXPECT_TRUE(Traced("Number of [Win32_Group] items retrieved: [4]"));
    EXPECT_TRUE(Traced("Enumerate [Win32_Group], result:0 ()"));
}

TEST_F(GroupsTest, EnumerationFailureIsTracedAndFails) {
    Fake().Fail("Win32_Group", static_cast<HResult>(0x80070005));
    CQncListString list;
    EXPECT_EQ(Module().WinRMGetWinGroupList(list, error), -1);
    EXPECT_TRUE(Traced("Enumerate [Win32_Group], result:-1 (WMI/WinRM Error 0x80070005: Access is denied)"));
}

using GroupMembersTest = CheckTest;

TEST_F(GroupMembersTest, MembersAreAskedThroughTheAssociation) {
    const std::string query =
        "Associators of {Win32_Group.Domain='PC1',Name='Administrators'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent";
    Fake().AnswerQuery(query, {Account("PC1\\Administrator", "Administrator", ""),
                               Group("CORP\\Domain Admins", "Domain Admins", "CORP")});
    CQncListString list;
    EXPECT_EQ(Module().WinRMGetWinGroupMemberList("Administrators", "PC1", list, error), 0);
    EXPECT_EQ(Fake().enumerations.back().filter, query);
    EXPECT_EQ(Entries(list), (std::vector<std::string>{"PC1\\Administrator;;;;Administrator",
                                                       "CORP\\Domain Admins;;;;Domain Admins"}));
}

TEST_F(GroupMembersTest, IncompleteMemberFails) {
    Fake().AnswerQuery(
        "Associators of {Win32_Group.Domain='PC1',Name='Users'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent",
        {Account(std::nullopt, "x", "")});
    CQncListString list;
    EXPECT_EQ(Module().WinRMGetWinGroupMemberList("Users", "PC1", list, error), -1);
    EXPECT_TRUE(Entries(list).empty());
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetWinGroupMemberList failed."));
}

}  // namespace
}  // namespace qn::checks_test
