// Every bundled profile loads and answers each class the monitoring checks ask for. That every instance is
// well-formed XML shows in the record writer test, which reads each one.
#include <set>

#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

const char* const kCheckedClasses[] = {
    "Win32_ComputerSystem", "Win32_DiskDrive",
    "Win32_LogicalDisk",    "Win32_PerfFormattedData_PerfOS_Memory",
    "Win32_Processor",      "Win32_PerfFormattedData_PerfOS_Processor",
    "Win32_Process",        "Win32_PerfRawData_PerfProc_Process",
    "Win32_Service",        "Win32_Printer",
    "Win32_Share",          "Win32_PerfFormattedData_Tcpip_NetworkInterface",
    "Win32_UserAccount",    "Win32_Group",
};

class BundledProfile : public ::testing::TestWithParam<const char*> {};

TEST_P(BundledProfile, AnswersEveryCheckedClassWithCountersPerProcessAndCpu) {
    auto model = LoadBundled(GetParam());
    ASSERT_TRUE(model);
    for (const char* className : kCheckedClasses)
        EXPECT_FALSE(Query(*model, std::string("select * from ") + className).empty()) << className;
    const auto sessions = Query(*model, "select * from Win32_PerfFormattedData_TermService_TerminalServices");
    const auto rawSessions =
        Query(*model, "select * from Win32_PerfRawData_LocalSessionManager_TerminalServices");
    EXPECT_FALSE(sessions.empty() && rawSessions.empty());
    EXPECT_EQ(Query(*model, "select * from Win32_OperatingSystem").size(), 1u);

    // Process counters follow the processes, one name each; processor counters one per logical CPU.
    const auto processes = Query(*model, "select * from Win32_Process");
    const auto counters = Query(*model, "select Name, IDProcess from Win32_PerfRawData_PerfProc_Process");
    ASSERT_EQ(counters.size(), processes.size() + 1);  // plus _Total
    std::set<std::string> names;
    for (const auto& item : counters) EXPECT_TRUE(names.insert(PropertyText(item.xml, "Name")).second);
    for (const char* name : {"Idle", "_Total", "svchost", "svchost#1"})
        EXPECT_TRUE(names.contains(name)) << name;
    const auto cpus = Query(*model, "select Name from Win32_PerfFormattedData_PerfOS_Processor");
    ASSERT_EQ(cpus.size(), model->LogicalProcessors() + 1);
    EXPECT_EQ(PropertyText(cpus.front().xml, "Name"), "0");
    EXPECT_EQ(PropertyText(cpus.back().xml, "Name"), "_Total");
}

INSTANTIATE_TEST_SUITE_P(Profiles, BundledProfile, ::testing::Values("workstation", "server", "unhealthy"));

TEST(WorkstationProfile, LooksLikeADomainWorkstation) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    EXPECT_EQ(PropertyText(Query(*model, "select * from Win32_ComputerSystem").front().xml, "DomainRole"),
              "1");
    EXPECT_EQ(model->LogicalProcessors(), 4u);
    const auto processes = Query(*model, "select Name from Win32_Process");
    EXPECT_GE(processes.size(), 100u);
    EXPECT_LE(processes.size(), 140u);
    EXPECT_GE(Query(*model, "select Name from Win32_Service").size(), 190u);
    EXPECT_EQ(Query(*model, "select * from Win32_DiskDrive where InterfaceType = 'USB'").size(), 1u);
    EXPECT_EQ(Query(*model, "select * from Win32_Share where Name = 'C$' or Name = 'ADMIN$'").size(), 2u);
    EXPECT_EQ(Query(*model, "select * from Win32_PerfFormattedData_Tcpip_NetworkInterface").size(), 2u);
}

TEST(ServerProfile, RunsIisMsmqAndTwoThousandProcesses) {
    auto model = LoadBundled("server");
    ASSERT_TRUE(model);
    EXPECT_EQ(PropertyText(Query(*model, "select * from Win32_ComputerSystem").front().xml, "DomainRole"),
              "3");
    EXPECT_EQ(Query(*model, "select Name from Win32_Process").size(), 2000u);
    EXPECT_FALSE(Query(*model, "select * from ApplicationPool", "root/WebAdministration").empty());
    const auto queues =
        Query(*model,
              "select Name from Win32_PerfRawData_MSMQ_MSMQQueue where Name like '%\\\\private$\\\\orders'");
    ASSERT_EQ(queues.size(), 1u);
    EXPECT_EQ(PropertyText(queues.front().xml, "Name"), "srv-app01\\private$\\orders");
}

TEST(UnhealthyProfile, ShowsItsTroubles) {
    auto model = LoadBundled("unhealthy");
    ASSERT_TRUE(model);
    EXPECT_EQ(PropertyText(Query(*model, "select * from Win32_DiskDrive").front().xml, "Status"), "Degraded");
    EXPECT_FALSE(
        Query(*model, "select * from Win32_Service where StartMode = 'Auto' and State = 'Stopped'").empty());
    EXPECT_FALSE(Query(*model, "select * from Win32_Printer where DetectedErrorState = 9").empty());
    EXPECT_FALSE(Query(*model, "select * from Win32_UserAccount where Lockout = TRUE").empty());
    const auto c = Query(*model, "select FreeSpace, Size from Win32_LogicalDisk where Name = 'C:'");
    ASSERT_EQ(c.size(), 1u);
    EXPECT_LT(
        std::stod(PropertyText(c.front().xml, "FreeSpace")) / std::stod(PropertyText(c.front().xml, "Size")),
        0.02);
}

}  // namespace
}  // namespace qnsim::test
