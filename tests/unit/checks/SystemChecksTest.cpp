// Domain role, disk drives, logical-disk space, memory and processors: records without values, the unit
// arithmetic, and CPU readings over time on a clock that moves only when the module sleeps.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

class DomainTest : public CheckTest {
  protected:
    int Run() {
        isMember = 7;
        return Module().WinRMGetDomain(domain, error, isMember);
    }
    CQncString domain;
    std::uint32_t isMember = 0;
};

TEST_F(DomainTest, MemberRolesCountAsDomainMembership) {
    const std::pair<const char*, std::uint32_t> cases[] = {{"0", 0},   {"1", 1}, {"2", 0},
                                                           {" 3 ", 1}, {"5", 1}, {"13", 0}};
    for (const auto& [role, member] : cases) {
        Fake().Answer("Win32_ComputerSystem",
                      {Instance("Win32_ComputerSystem", {{"DomainRole", role}, {"Domain", "CORP"}})});
        EXPECT_EQ(Run(), 0) << role;
        EXPECT_EQ(isMember, member) << role;
    }
}

TEST_F(DomainTest, RoleIsJudgedBeforeAMissingDomainFails) {
    Fake().Answer("Win32_ComputerSystem", {Instance("Win32_ComputerSystem", {{"DomainRole", "3"}})});
    EXPECT_EQ(Run(), -1);
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

class LogicalDiskSpaceTest : public CheckTest {
  protected:
    int Run(const char* drive) {
        found = freeMB = usedMB = sizeMB = 99;
        return Module().WinRMGetLogicalDiskSpace(drive, found, freeMB, usedMB, sizeMB, error);
    }
    Numbers Values() const { return {found, freeMB, usedMB, sizeMB}; }
    std::uint32_t found = 0, freeMB = 0, usedMB = 0, sizeMB = 0;
};

TEST_F(LogicalDiskSpaceTest, SpaceInTruncatedMebibytesForTheExactName) {
    // 3.9 MiB of which 1.1 MiB free: used is taken from the truncated values, 3 - 1.
    Fake().Answer(
        "Win32_LogicalDisk",
        {Instance("Win32_LogicalDisk", {{"FreeSpace", "1153433"}, {"Name", "D:"}, {"Size", "4089446"}}),
         Instance("Win32_LogicalDisk", {{"FreeSpace", "5242880"}, {"Name", "E:"}, {"Size", std::nullopt}})});
    EXPECT_EQ(Run(" D "), 0);
    EXPECT_EQ(Values(), (Numbers{1, 1, 2, 3}));
    for (const char* other : {"d", "D:\\", ""}) {
        EXPECT_EQ(Run(other), -1) << other;
        EXPECT_EQ(Values(), (Numbers{0, 0, 0, 0}));
    }
    EXPECT_EQ(Run("E"), -1);  // no size: the free space is kept
    EXPECT_EQ(Values(), (Numbers{1, 5, 0, 0}));
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

TEST_F(CpuUsageTest, OutOfRangeAndMissingReadingsFail) {
    const std::tuple<const char*, int, std::uint32_t> readings[] = {
        {"100", 0, 100}, {"101", -1, 101}, {"-1", -1, 0xFFFFFFFF}};
    for (const auto& [percent, result, expected] : readings) {
        Fake().Answer(kCounterClass, {Counter("_Total", percent)});
        EXPECT_EQ(Module().GetCpuUsage("_total", usage, error), result) << percent;
        EXPECT_EQ(usage, expected) << percent;
    }
    Fake().Answer(kCounterClass, {Instance(kCounterClass, {{"Name", "_Total"}})});
    EXPECT_EQ(Module().GetCpuUsage("_Total", usage, error), -1);
    EXPECT_STREQ(error.GetText(), "XML attribute missing");
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
