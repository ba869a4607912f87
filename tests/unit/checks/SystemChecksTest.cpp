// Domain role, disk drives, logical-disk space, memory and processors: records without values, the unit
// arithmetic, and CPU readings over time on a clock that moves only when the module sleeps.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

using DomainTest = CheckTest;

TEST_F(DomainTest, MemberRolesCountAsMembershipEvenWhenTheDomainIsMissing) {
    CQncString domain;
    std::uint32_t isMember = 7;
    const auto answer = [&](const char* role, bool withDomain) {
        qntest::Properties properties{{"DomainRole", role}};
        if (withDomain) properties.push_back({"Domain", "CORP"});
        Fake().Answer("Win32_ComputerSystem", {Instance("Win32_ComputerSystem", properties)});
        return Module().WinRMGetDomain(domain, error, isMember);
    };
    for (const auto& [role, member] : {std::pair{"0", 0u}, {"1", 1u}, {"2", 0u}, {" 3 ", 1u}, {"13", 0u}}) {
        EXPECT_EQ(answer(role, true), 0) << role;
        EXPECT_EQ(isMember, member) << role;
    }
    EXPECT_EQ(answer("5", false), -1);
    EXPECT_EQ(isMember, 1u);
    EXPECT_STREQ(error.GetText(), "XML attribute missing");
    EXPECT_TRUE(Traced("WinRMGetDomain, result:[failed], error:[XML attribute missing], domain:[]."));
}

std::string Disk(const std::string& caption, const std::optional<std::string>& status) {
    return Instance("Win32_DiskDrive", {{"Caption", caption}, {"Status", status}});
}

using DisksStateTest = CheckTest;

TEST_F(DisksStateTest, OnlyTheFirstUnhealthyDiskIsReportedAndAMissingStatusFails) {
    std::uint32_t allOk = 7;
    CQncString list, bad, status;
    Fake().Answer("Win32_DiskDrive",
                  {Disk("Disk 0", "ok"), Disk("Disk 1", "Bad"), Disk("Disk 2", "Pred Fail")});
    EXPECT_EQ(Module().WinRMGetDisksState(allOk, list, bad, status, error), 0);
    EXPECT_STREQ(status.GetText(), "[Bad]");
    EXPECT_FALSE(Traced("Found Disk: [Disk 2]..."));
    Fake().Answer("Win32_DiskDrive", {Disk("Disk 0", "OK"), Disk("Disk 1", std::nullopt)});
    EXPECT_EQ(Module().WinRMGetDisksState(allOk, list, bad, status, error), -1);
    EXPECT_STREQ(list.GetText(), "[Disk 0]");
    EXPECT_TRUE(Traced("WinRMGetDisksState failed."));
}

using LogicalDiskSpaceTest = CheckTest;

TEST_F(LogicalDiskSpaceTest, SpaceInTruncatedMebibytesForTheExactName) {
    const auto run = [&](const char* drive) {
        std::uint32_t found = 99, freeMB = 99, usedMB = 99, sizeMB = 99;
        const int result = Module().WinRMGetLogicalDiskSpace(drive, found, freeMB, usedMB, sizeMB, error);
        return std::make_pair(result, Numbers{found, freeMB, usedMB, sizeMB});
    };
    // 3.9 MiB of which 1.1 MiB free: used is taken from the truncated values, 3 - 1.
    Fake().Answer(
        "Win32_LogicalDisk",
        {Instance("Win32_LogicalDisk", {{"FreeSpace", "1153433"}, {"Name", "D:"}, {"Size", "4089446"}}),
         Instance("Win32_LogicalDisk", {{"FreeSpace", "5242880"}, {"Name", "E:"}, {"Size", std::nullopt}})});
    EXPECT_EQ(run(" D "), std::make_pair(0, Numbers{1, 1, 2, 3}));
    EXPECT_EQ(run("D:\\"), std::make_pair(-1, Numbers{0, 0, 0, 0}));  // lower case: tests/e2e
    EXPECT_EQ(run("E"), std::make_pair(-1, Numbers{1, 5, 0, 0}));     // no size: the free space is kept
    EXPECT_TRUE(Traced("WinRMGetLogicalDiskSpace failed."));
}

constexpr const char* kCounterClass = "Win32_PerfFormattedData_PerfOS_Processor";

std::string Counter(const std::string& name, const std::optional<std::string>& percent) {
    return Instance(kCounterClass, {{"Name", name}, {"PercentProcessorTime", percent}});
}

class CpuUsageTest : public CheckTest {
  protected:
    // One reply per reading, in turn.
    void Readings(std::initializer_list<const char*> percents) {
        Fake().enumerationsByFilter.clear();
        Fake().enumerations.clear();
        Clock().sleeps.clear();
        for (const char* percent : percents) Fake().AnswerNext(kCounterClass, {Counter("_Total", percent)});
    }
    std::uint32_t usage = 0;
};

TEST_F(CpuUsageTest, OutOfRangeReadingsFail) {
    for (const auto& [percent, result, expected] :
         {std::tuple{"100", 0, 100u}, {"101", -1, 101u}, {"-1", -1, 0xFFFFFFFFu}}) {
        Fake().Answer(kCounterClass, {Counter("_Total", percent)});
        EXPECT_EQ(Module().GetCpuUsage("_total", usage, error), result) << percent;
        EXPECT_EQ(usage, expected) << percent;
    }
}

TEST_F(CpuUsageTest, ReadingsAreAveragedOverTheDurationAndTruncatedUntilOneFails) {
    // Sleeping 10 ms three times reaches a duration of 25 ms; 94 / 3 is truncated.
    Readings({"30", "31", "33"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 10, 25, usage, error), 0);
    EXPECT_EQ(usage, 31u);
    EXPECT_EQ(Clock().sleeps, (Numbers{10, 10, 10}));
    Readings({"7"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 3, 0, usage, error), 0);
    EXPECT_EQ(usage, 7u);
    EXPECT_EQ(Clock().sleeps, (Numbers{3}));  // no duration: one reading, one sleep
    // A failed reading leaves the undivided sum.
    Readings({"20", "30", "250"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 10, 1000, usage, error), -1);
    EXPECT_EQ(usage, 50u);
    EXPECT_STREQ(
        error.GetText(),
        "WMI property [Win32_PerfFormattedData_PerfOS_Processor:PercentProcessorTime] out of bound, value: "
        "[250]");
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kCounterClass), 3);
}

TEST_F(CpuUsageTest, TickCountWrapStillEndsTheLoop) {
    Clock().ticks = 0xFFFFFFF0u;
    Fake().Answer(kCounterClass, {Counter("_Total", "10")});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 16, 40, usage, error), 0);
    EXPECT_EQ(Clock().sleeps.size(), 3u);
    EXPECT_EQ(usage, 10u);
}

}  // namespace
}  // namespace qn::checks_test
