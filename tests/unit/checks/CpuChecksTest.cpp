// Processor count and processor usage.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

constexpr const char* kCounterClass = "Win32_PerfFormattedData_PerfOS_Processor";

std::string Counter(const std::string& name, const std::optional<std::string>& percent) {
    return Instance(kCounterClass, {{"Name", name}, {"PercentProcessorTime", percent}});
}

std::string Package(const std::optional<std::string>& logical) {
    return Instance("Win32_Processor", {{"DeviceID", "CPU0"}, {"NumberOfLogicalProcessors", logical}});
}

using LogicalCpusTest = CheckTest;

TEST_F(LogicalCpusTest, PackagesAreSummed) {
    CQnWSMan& module = Connect();
    std::uint32_t count = 0;
    CQncString error;
    Fake().Answer("Win32_Processor", {Package("8"), Package("4")});
    EXPECT_EQ(module.GetNumLogicalCpus(count, error), 0);
    EXPECT_EQ(count, 12u);

    Fake().Answer("Win32_Processor", {});
    EXPECT_EQ(module.GetNumLogicalCpus(count, error), 0);
    EXPECT_EQ(count, 0u);

    Fake().Answer("Win32_Processor", {Package("8"), Package(std::nullopt), Package("4")});
    EXPECT_EQ(module.GetNumLogicalCpus(count, error), -1);
    EXPECT_EQ(count, 8u);
    EXPECT_TRUE(Traced("CQnWSMan::GetNumLogicalCpus failed."));
}

using CpuUsageTest = CheckTest;

TEST_F(CpuUsageTest, OneReadingFindsTheInstanceWithoutRegardToCase) {
    CQnWSMan& module = Connect();
    Fake().Answer(kCounterClass, {Counter("0", "90"), Counter("_Total", "42")});
    std::uint32_t usage = 0;
    CQncString error;
    EXPECT_EQ(module.GetCpuUsage("_total", usage, error), 0);
    EXPECT_EQ(usage, 42u);
    EXPECT_TRUE(Traced("CQnWSMan::GetCpuUsage called for CPU [_total]..."));
    EXPECT_TRUE(Traced("Counter [_total] not found (yet) (found:[0]), continue..."));
    EXPECT_TRUE(Traced("Counter [_Total] found."));
    EXPECT_TRUE(Traced("Usage: [42]."));
}

TEST_F(CpuUsageTest, OutOfRangeAndMissingReadingsFail) {
    CQnWSMan& module = Connect();
    std::uint32_t usage = 0;
    CQncString error;
    Fake().Answer(kCounterClass, {Counter("_Total", "100")});
    EXPECT_EQ(module.GetCpuUsage("_Total", usage, error), 0);
    EXPECT_EQ(usage, 100u);

    Fake().Answer(kCounterClass, {Counter("_Total", "101")});
    EXPECT_EQ(module.GetCpuUsage("_Total", usage, error), -1);
    EXPECT_EQ(usage, 101u);
    EXPECT_STREQ(error.GetText(),
                 "WMI property [Win32_PerfFormattedData_PerfOS_Processor:PercentProcessorTime] out of bound, "
                 "value: [101]");

    Fake().Answer(kCounterClass, {Counter("_Total", "-1")});
    EXPECT_EQ(module.GetCpuUsage("_Total", usage, error), -1);
    EXPECT_EQ(static_cast<std::int32_t>(usage), -1);

    Fake().Answer(kCounterClass, {Counter("0", "5")});
    EXPECT_EQ(module.GetCpuUsage("1", usage, error), -1);
    EXPECT_EQ(usage, 0u);
    EXPECT_STREQ(error.GetText(), "");

    // A nil value reads as empty; a property the instance lacks is also named in the error.
    Fake().Answer(kCounterClass, {Counter("_Total", std::nullopt)});
    EXPECT_EQ(module.GetCpuUsage("_Total", usage, error), -1);
    EXPECT_STREQ(error.GetText(), "");
    Fake().Answer(kCounterClass, {Instance(kCounterClass, {{"Name", "_Total"}})});
    EXPECT_EQ(module.GetCpuUsage("_Total", usage, error), -1);
    EXPECT_STREQ(error.GetText(), "XML attribute missing");
}

TEST_F(CpuUsageTest, ReadingsAreAveragedOverTheDuration) {
    CQnWSMan& module = Connect();
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "30")});
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "31")});
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "32")});
    std::uint32_t usage = 0;
    CQncString error;
    // Sleeping 10 ms three times reaches a duration of 25 ms.
    EXPECT_EQ(module.WinRMGetCpuUsage("_Total", 10, 25, usage, error), 0);
    EXPECT_EQ(usage, 31u);
    EXPECT_EQ(Clock().sleeps, (std::vector<std::uint32_t>{10, 10, 10}));
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetCpuUsage, result:[completed], error:[], CPU:[_Total]."));
}

TEST_F(CpuUsageTest, ZeroDurationTakesOneReadingAndOneSleep) {
    CQnWSMan& module = Connect();
    Fake().Answer(kCounterClass, {Counter("_Total", "7")});
    std::uint32_t usage = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetCpuUsage("_Total", 3, 0, usage, error), 0);
    EXPECT_EQ(usage, 7u);
    EXPECT_EQ(Clock().sleeps, (std::vector<std::uint32_t>{3}));
}

TEST_F(CpuUsageTest, AverageTruncates) {
    CQnWSMan& module = Connect();
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "1")});
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "2")});
    std::uint32_t usage = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetCpuUsage("_Total", 5, 10, usage, error), 0);
    EXPECT_EQ(usage, 1u);
}

TEST_F(CpuUsageTest, FailedReadingLeavesTheUndividedSum) {
    CQnWSMan& module = Connect();
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "20")});
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "30")});
    Fake().AnswerNext(kCounterClass, {Counter("_Total", "250")});
    std::uint32_t usage = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetCpuUsage("_Total", 10, 1000, usage, error), -1);
    EXPECT_EQ(usage, 50u);
    EXPECT_NE(std::string(error.GetText()).find("out of bound, value: [250]"), std::string::npos);
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kCounterClass), 3);
}

TEST_F(CpuUsageTest, TickCountWrapStillEndsTheLoop) {
    CQnWSMan& module = Connect();
    Clock().ticks = 0xFFFFFFF0u;
    Fake().Answer(kCounterClass, {Counter("_Total", "10")});
    std::uint32_t usage = 0;
    CQncString error;
    EXPECT_EQ(module.WinRMGetCpuUsage("_Total", 16, 40, usage, error), 0);
    EXPECT_EQ(Clock().sleeps.size(), 3u);
    EXPECT_EQ(usage, 10u);
}

}  // namespace
}  // namespace qn::checks_test
