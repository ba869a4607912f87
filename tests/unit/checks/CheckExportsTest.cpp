// The check exports' rules that need a scripted computer: buffers that share a size, whole entries only in
// the schema lists, an empty list on failure, signed thresholds, and NULL inputs. NULL handles, sizes 0 and 1
// and numbers left to the check are tests/reliability's (HostileInputTest); truncation, argument order and
// the share's empty text are the e2e tests'.
#include <cstring>
#include <string>

#include "CheckTestSupport.h"
#include "qnsnwsm.h"

namespace qn::checks_test {
namespace {

constexpr std::uint32_t kFilled = 0xA5A5A5A5u;

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

bool AllZero(const char* buffer, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        if (buffer[i] != '\0') {
            return false;
        }
    }
    return true;
}

TEST_F(CheckExportsTest, DiskBuffersShareOneSize) {
    Fake().Answer("Win32_DiskDrive",
                  {Instance("Win32_DiskDrive", {{"Caption", "Disk 0"}, {"Status", "OK"}}),
                   Instance("Win32_DiskDrive", {{"Caption", "Disk 1"}, {"Status", "Degraded"}})});
    char list[7], bad[7], status[7], error[8];
    std::uint32_t ok = kFilled;
    EXPECT_EQ(WSManGetDisksState(handle_, &ok, list, bad, status, 7, error, sizeof error), QNSNWSM_OK);
    EXPECT_EQ(ok, 0u);
    EXPECT_STREQ(list, "[Disk ");
    EXPECT_STREQ(bad, "[Disk ");
    EXPECT_STREQ(status, "[Degra");
}

TEST_F(CheckExportsTest, ListExportsKeepWholeEntriesOnly) {
    Fake().Answer("Win32_Service", {Instance("Win32_Service", {{"Name", "bbbb"}}),
                                    Instance("Win32_Service", {{"Name", "AAAA"}}),
                                    Instance("Win32_Service", {{"Name", "cccc"}})});
    char list[64];
    char error[8];
    EXPECT_EQ(WSManCollectInstances(handle_, "Win32_Service", list, sizeof list, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_STREQ(list, "AAAA||bbbb||cccc");

    // "||" is counted before the first entry too: 4 + 4 + 2 fits in 13, a third entry would need 16.
    char small[13];
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
    char list[64];
    std::memset(list, 'x', sizeof list);
    char error[64];
    EXPECT_EQ(WSManGetWinGroupMemberList(handle_, "Users", "PC1", list, sizeof list, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_TRUE(AllZero(list, sizeof list));
    EXPECT_STREQ(error, "XML attribute missing");
}

TEST_F(CheckExportsTest, ProcessExportPassesThresholdsAndDurationSigned) {
    Fake().Answer("Win32_Processor", {Instance("Win32_Processor", {{"NumberOfLogicalProcessors", "1"}})});
    Fake().AnswerNext(
        "Win32_PerfRawData_PerfProc_Process",
        {Instance("Win32_PerfRawData_PerfProc_Process", {{"Name", "app"}, {"IDProcess", "42"}})});
    Fake().AnswerNext("Win32_PerfRawData_PerfProc_Process",
                      {Instance("Win32_PerfRawData_PerfProc_Process", {{"Name", "app"},
                                                                       {"IDProcess", "42"},
                                                                       {"PercentProcessorTime", "0"},
                                                                       {"TimeStamp_Sys100NS", "0"}})});
    Fake().AnswerNext("Win32_PerfRawData_PerfProc_Process",
                      {Instance("Win32_PerfRawData_PerfProc_Process", {{"Name", "app"},
                                                                       {"IDProcess", "42"},
                                                                       {"PercentProcessorTime", "250"},
                                                                       {"TimeStamp_Sys100NS", "1000"}})});
    std::uint32_t id = 0, cpu = 0, memory = 0, handles = 0;
    char instance[16];
    char error[32];
    // Memory and handles are switched off by -1; the duration of -500 ms counts as 500 ms.
    EXPECT_EQ(
        WSManGetProcessCpuMemHandles(handle_, "app.exe", nullptr, 0, 500, static_cast<uint32_t>(-500),
                                     static_cast<uint32_t>(-1), 0, static_cast<uint32_t>(-1), &id, instance,
                                     sizeof instance, &cpu, &memory, &handles, error, sizeof error),
        QNSNWSM_OK);
    EXPECT_EQ(id, 42u);
    EXPECT_STREQ(instance, "app");
    EXPECT_EQ(cpu, 25u);
    EXPECT_EQ(memory, 0xFFFFFFFFu);
    EXPECT_EQ(handles, 0xFFFFFFFFu);
    EXPECT_EQ(Clock().sleeps, (std::vector<std::uint32_t>{500}));
}

TEST_F(CheckExportsTest, NullInputsAndNumberPointersAreTolerated) {
    Fake().Answer("Win32_Service", {Instance("Win32_Service", {{"DisplayName", "D"}, {"Name", "S"}})});
    char text[32];
    char error[128];
    std::uint32_t n = 0;
    EXPECT_EQ(WSManGetCpuUsage(handle_, nullptr, 0, 0, nullptr, error, sizeof error), QNSNWSM_FAILURE);
    EXPECT_EQ(
        WSManGetLogicalDiskSpace(handle_, nullptr, nullptr, nullptr, nullptr, nullptr, error, sizeof error),
        QNSNWSM_FAILURE);
    EXPECT_EQ(WSManGetProcessState(handle_, nullptr, nullptr, error, sizeof error), QNSNWSM_OK);
    EXPECT_EQ(WSManGetServiceState(handle_, nullptr, text, sizeof text, text, sizeof text, nullptr, text,
                                   sizeof text, text, sizeof text, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_EQ(WSManRestartService(handle_, nullptr, error, sizeof error), QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "Service not installed.");
    EXPECT_EQ(WSManGetApplicationPoolState(handle_, nullptr, nullptr, text, sizeof text, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_EQ(WSManGetMsMqLength(handle_, nullptr, nullptr, nullptr, nullptr, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_EQ(WSManGetWinGroupMemberList(handle_, nullptr, nullptr, text, sizeof text, error, sizeof error),
              QNSNWSM_OK);
    EXPECT_EQ(WSManGetWmiCounterData(handle_, nullptr, nullptr, nullptr, &n, text, sizeof text, error,
                                     sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_STREQ(error, "No Class specified");
    EXPECT_EQ(WSManCollectInstances(handle_, nullptr, text, sizeof text, error, sizeof error), QNSNWSM_OK);
    EXPECT_EQ(WSManCollectProperties(handle_, nullptr, text, sizeof text, error, sizeof error),
              QNSNWSM_FAILURE);
    EXPECT_EQ(WSManGetProcessCpuMemHandles(handle_, nullptr, nullptr, 0, 0, 0, 0, 0, 0, nullptr, nullptr, 0,
                                           nullptr, nullptr, nullptr, nullptr, 0),
              QNSNWSM_FAILURE);
}

}  // namespace
}  // namespace qn::checks_test
