// Processor count and processor usage: readings over time on a clock that moves only when the module sleeps.
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
    std::uint32_t count = 0;
    Fake().Answer("Win32_Processor", {Package("8"), Package("4")});
    EXPECT_EQ(Module().GetNumLogicalCpus(count, error), 0);
    EXPECT_EQ(count, 12u);

    Fake().Answer("Win32_Processor", {});
    EXPECT_EQ(Module().GetNumLogicalCpus(count, error), 0);
    EXPECT_EQ(count, 0u);

    Fake().Answer("Win32_Processor", {Package("8"), Package(std::nullopt), Package("4")});
    EXPECT_EQ(Module().GetNumLogicalCpus(count, error), -1);
    EXPECT_EQ(count, 8u);
    EXPECT_TRUE(Traced("CQnWSMan::GetNumLogicalCpus failed."));
}

class CpuUsageTest : public CheckTest {
  protected:
    // One reply per reading, in turn.
    void Readings(std::initializer_list<const char*> percents) {
        for (const char* percent : percents) Fake().AnswerNext(kCounterClass, {Counter("_Total", percent)});
    }
    std::uint32_t usage = 0;
};

TEST_F(CpuUsageTest, OneReadingFindsTheInstanceWithoutRegardToCase) {
    Fake().Answer(kCounterClass, {Counter("0", "90"), Counter("_Total", "42")});
    EXPECT_EQ(Module().GetCpuUsage("_total", usage, error), 0);
    EXPECT_EQ(usage, 42u);
    for (const char* line : {"CQnWSMan::GetCpuUsage called for CPU [_total]...",
                             "Counter [_total] not found (yet) (found:[0]), continue...",
                             "Counter [_Total] found.", "Usage: [42]."}) {
        EXPECT_TRUE(Traced(line)) << line;
    }
}

TEST_F(CpuUsageTest, OutOfRangeAndMissingReadingsFail) {
    const struct {
        std::string item;
        const char* cpu;
        int result;
        std::optional<std::uint32_t> usage;  // nothing: not asked
        const char* error;
    } cases[] = {
        {Counter("_Total", "100"), "_Total", 0, 100, ""},
        {Counter("_Total", "101"), "_Total", -1, 101,
         "WMI property [Win32_PerfFormattedData_PerfOS_Processor:PercentProcessorTime] out of bound, value: "
         "[101]"},
        {Counter("_Total", "-1"), "_Total", -1, 0xFFFFFFFF, nullptr},
        {Counter("0", "5"), "1", -1, 0, ""},
        // A nil value reads as empty; a property the instance lacks is also named in the error.
        {Counter("_Total", std::nullopt), "_Total", -1, std::nullopt, ""},
        {Instance(kCounterClass, {{"Name", "_Total"}}), "_Total", -1, std::nullopt, "XML attribute missing"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.item);
        Fake().Answer(kCounterClass, {c.item});
        EXPECT_EQ(Module().GetCpuUsage(c.cpu, usage, error), c.result);
        if (c.usage) {
            EXPECT_EQ(usage, *c.usage);
        }
        if (c.error != nullptr) {
            EXPECT_STREQ(error.GetText(), c.error);
        }
    }
}

TEST_F(CpuUsageTest, ReadingsAreAveragedOverTheDurationAndTruncated) {
    // Sleeping 10 ms three times reaches a duration of 25 ms.
    Readings({"30", "31", "32"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 10, 25, usage, error), 0);
    EXPECT_EQ(usage, 31u);
    EXPECT_EQ(Clock().sleeps, (Numbers{10, 10, 10}));

    Fake().enumerationsByFilter.clear();
    Clock().sleeps.clear();
    Readings({"1", "2"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 5, 10, usage, error), 0);
    EXPECT_EQ(usage, 1u);
}

TEST_F(CpuUsageTest, ZeroDurationTakesOneReadingAndOneSleep) {
    Fake().Answer(kCounterClass, {Counter("_Total", "7")});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 3, 0, usage, error), 0);
    EXPECT_EQ(usage, 7u);
    EXPECT_EQ(Clock().sleeps, (Numbers{3}));
}

TEST_F(CpuUsageTest, FailedReadingLeavesTheUndividedSum) {
    Readings({"20", "30", "250"});
    EXPECT_EQ(Module().WinRMGetCpuUsage("_Total", 10, 1000, usage, error), -1);
    EXPECT_EQ(usage, 50u);
    EXPECT_NE(std::string(error.GetText()).find("out of bound, value: [250]"), std::string::npos);
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
