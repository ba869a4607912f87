// The check exports' rules that need a scripted computer: buffers that share a size, whole entries only in
// the schema lists, an empty list on failure. Hostile inputs are tests/reliability's, truncation the e2e's.
#include <cstring>
#include <string>

#include "CheckTestSupport.h"
#include "qnsnwsm.h"

namespace qn::checks_test {
namespace {

class CheckExportsTest : public CheckTest {
  protected:
    void SetUp() override {
        CheckTest::SetUp();
        ASSERT_EQ(WSManInitialize("exports", "", &handle_), QNSNWSM_OK);
        char error[64];
        ASSERT_EQ(
            WSManConnectToComputer(handle_, "pc1", "", "", "root\\default", 5985, 0, 0, error, sizeof error),
            QNSNWSM_OK);
    }
    void TearDown() override {
        WSManShutdown(handle_);
        CheckTest::TearDown();
    }
    QNSNWSM_HANDLE handle_ = nullptr;
};

TEST_F(CheckExportsTest, DiskBuffersShareOneSize) {
    Fake().Answer("Win32_DiskDrive",
                  {Instance("Win32_DiskDrive", {{"Caption", "Disk 0"}, {"Status", "OK"}}),
                   Instance("Win32_DiskDrive", {{"Caption", "Disk 1"}, {"Status", "Degraded"}})});
    char list[7], bad[7], status[7], error[8];
    std::uint32_t ok = 7;
    EXPECT_EQ(WSManGetDisksState(handle_, &ok, list, bad, status, 7, error, sizeof error), QNSNWSM_OK);
    EXPECT_EQ(ok, 0u);
    EXPECT_EQ((std::vector<std::string>{list, bad, status}),
              (std::vector<std::string>{"[Disk ", "[Disk ", "[Degra"}));
}

TEST_F(CheckExportsTest, ListExportsKeepWholeEntriesOnly) {
    Fake().Answer("Win32_Service", {Instance("Win32_Service", {{"Name", "bbbb"}}),
                                    Instance("Win32_Service", {{"Name", "AAAA"}}),
                                    Instance("Win32_Service", {{"Name", "cccc"}})});
    // "||" is counted before the first entry too: 4 + 4 + 2 fits in 13, a third entry would need 16.
    char small[13], error[8];
    EXPECT_EQ(WSManCollectInstances(handle_, "Win32_Service", small, sizeof small, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_STREQ(small, "AAAA||bbbb");
    char tiny[5];  // "AAAA" needs 4 + 2
    EXPECT_EQ(WSManCollectInstances(handle_, "Win32_Service", tiny, sizeof tiny, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_STREQ(tiny, "");
}

TEST_F(CheckExportsTest, FailedListExportLeavesTheListEmptyAndReportsTheError) {
    Fake().AnswerQuery(
        "Associators of {Win32_Group.Domain='PC1',Name='Users'} Where AssocClass=Win32_GroupUser "
        "Role=GroupComponent",
        {Instance("Win32_UserAccount", {{"Caption", "PC1\\a"}, {"Name", "a"}}),
         Instance("Win32_UserAccount", {{"Caption", "PC1\\b"}})});
    char list[64], error[64];
    std::memset(list, 'x', sizeof list);
    EXPECT_EQ(WSManGetWinGroupMemberList(handle_, "Users", "PC1", list, sizeof list, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_EQ(std::string(list, sizeof list), std::string(sizeof list, '\0'));
    EXPECT_STREQ(error, "XML attribute missing");
}

}  // namespace
}  // namespace qn::checks_test
