// Processes: name list, presence, and CPU, memory and handle measurement over samples taken on a clock that
// moves only when the module sleeps; the record list's choice of the process to report.
#include <algorithm>

#include "CheckTestSupport.h"
#include "checks/CWmiProcessList.h"

namespace qn::checks_test {
namespace {

constexpr const char* kRawClass = "Win32_PerfRawData_PerfProc_Process";

std::string Process(const std::string& name) {
    return Instance("Win32_Process", {{"Name", name}, {"ProcessId", "4"}});
}

struct Raw {
    std::string name;
    std::string id;
    std::int64_t time = 0;
    std::int64_t stamp = 0;
    std::int64_t privateBytes = 0;
    std::string handles = "10";
};

std::string RawProcess(const Raw& raw) {
    return Instance(kRawClass, {{"Name", raw.name},
                                {"IDProcess", raw.id},
                                {"PercentProcessorTime", std::to_string(raw.time)},
                                {"TimeStamp_Sys100NS", std::to_string(raw.stamp)},
                                {"WorkingSetPrivate", std::to_string(raw.privateBytes)},
                                {"PrivateBytes", std::to_string(raw.privateBytes * 2)},
                                {"HandleCount", raw.handles}});
}

using ProcessTest = CheckTest;

TEST_F(ProcessTest, ListIsDedupedAndStateNeedsTheExeSuffix) {
    Fake().Answer("Win32_Process", {Process("svchost.exe"), Process("SVCHOST.EXE"), Process("explorer.exe")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetProcessList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "explorer.exe||svchost.exe");

    // ".exe" belongs to the WMI name: without it nothing matches, and that still completes.
    std::uint32_t running = 1;
    EXPECT_EQ(Module().WinRMGetProcessState("explorer", running, error), 0);
    EXPECT_EQ(running, 0u);
    EXPECT_STREQ(error.GetText(), "Process not found");
}

class ProcessUsageTest : public CheckTest {
  protected:
    void SetUp() override {
        CheckTest::SetUp();
        Fake().Answer("Win32_Processor", {Instance("Win32_Processor", {{"NumberOfLogicalProcessors", "2"}})});
    }
    int Run(const char* name, const char* exclude, std::int32_t cpu, std::uint32_t sleepMs,
            std::int32_t duration, std::int32_t memory, std::uint32_t counter, std::int32_t handlesLimit) {
        return Module().WinRMGetProcessCpuMemHandles(name, exclude, cpu, sleepMs, duration, memory, counter,
                                                     handlesLimit, processId, instance, cpuUsage, memoryMB,
                                                     handles, error);
    }
    Numbers Values() const { return {processId, cpuUsage, memoryMB, handles}; }
    std::uint32_t processId = 0, cpuUsage = 0, memoryMB = 0, handles = 0;
    CQncString instance;
};

TEST_F(ProcessUsageTest, EveryInstanceOfTheNameIsMeasuredAndTheLastReported) {
    Fake().Answer(kRawClass, {RawProcess({"notepad", "100", 0, 0, 3 << 20, "50"}),
                              RawProcess({"explorer", "200", 0, 0, 9 << 20, "900"}),
                              RawProcess({"Notepad#1", "300", 0, 0, 5 << 20, "70"})});
    EXPECT_EQ(Run(" notepad.exe ", "", -1, 0, 0, 0, 0, 0), 0);
    EXPECT_EQ(Values(), (Numbers{300, 0xFFFFFFFF, 5, 70}));
    EXPECT_STREQ(instance.GetText(), "Notepad#1");
    EXPECT_TRUE(Traced("Process [#100] added, instance name:[notepad]"));
    EXPECT_FALSE(Traced("Process [#200] added, instance name:[explorer]"));
    // The exit line is written twice on success.
    const auto lines = TraceLines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "CQnWSMan::WinRMGetProcessCpuMemHandles completed."), 2);
}

TEST_F(ProcessUsageTest, EmptyNameMeasuresAllButTheExcludedAndTheIdleProcess) {
    Fake().Answer(kRawClass, {RawProcess({"Idle", "0"}), RawProcess({"svchost", "10"}),
                              RawProcess({"lsass", "20", 0, 0, 1 << 20}), RawProcess({"svchost#3", "30"}),
                              RawProcess({"_Total", "0"})});
    EXPECT_EQ(Run("", "SVCHOST.exe#2;;spoolsv", -1, 0, 0, 0, 0, -1), 0);
    EXPECT_EQ(Values(), (Numbers{20, 0xFFFFFFFF, 1, 0xFFFFFFFF}));
    EXPECT_STREQ(instance.GetText(), "lsass");
}

TEST_F(ProcessUsageTest, MemoryCounterIndexSelectsTheProperty) {
    Fake().Answer(kRawClass, {RawProcess({"app", "7", 0, 0, 4 << 20})});
    // 1: PrivateBytes; an unknown index: the private working set; no limit: not measured.
    for (const auto& [limit, counter, expected] :
         {std::tuple{1, 1u, 8u}, {1, 42u, 4u}, {-1, 1u, 0xFFFFFFFFu}}) {
        EXPECT_EQ(Run("app", nullptr, -1, 0, 0, limit, counter, -1), 0);
        EXPECT_EQ(memoryMB, expected) << counter;
    }
}

TEST_F(ProcessUsageTest, CpuIsTheMeanOfThePairsPerProcessor) {
    // Two pairs of samples 1000 ms apart: 50 % and 30 % of one processor, on two processors: 20 %.
    for (const Raw& sample :
         {Raw{"app", "7", 0, 0}, Raw{"app", "7", 1000, 10000}, Raw{"app", "7", 6000, 20000},
          Raw{"app", "7", 10000, 30000}, Raw{"app", "7", 13000, 40000}}) {
        Fake().AnswerNext(kRawClass, {RawProcess(sample)});
    }
    EXPECT_EQ(Run("app", "", 0, 1000, -1500, -1, 0, -1), 0);
    EXPECT_EQ(cpuUsage, 20u);
    EXPECT_EQ(Clock().sleeps, (Numbers{1000, 1000}));
    EXPECT_TRUE(Traced("*lpN: [6000]"));
    EXPECT_TRUE(Traced("*lpD: [20000]"));
}

TEST_F(ProcessUsageTest, UnmeasurableOrMissingValuesLeaveOutputsUnmeasured) {
    // No duration takes no samples; a time stamp that stands still must not be divided by.
    Fake().Answer(kRawClass, {RawProcess({"app", "7", 500, 777})});
    EXPECT_EQ(Run("app", "", 10, 10, 0, -1, 0, -1), 0);
    EXPECT_TRUE(Clock().sleeps.empty());
    EXPECT_EQ(Run("app", "", 5, 10, 10, -1, 0, -1), 0);
    EXPECT_EQ(cpuUsage, 0xFFFFFFFFu);
    Fake().Answer(kRawClass, {RawProcess({"other", "7"})});
    EXPECT_EQ(Run("app", "", 0, 0, 0, 0, 0, 0), -1);
    EXPECT_EQ(Values(), (Numbers{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetProcessCpuMemHandles failed."));

    // A computer that reports no processor cannot have its CPU share computed.
    Fake().Answer("Win32_Processor", {});
    Fake().Answer(kRawClass, {RawProcess({"app", "7"})});
    EXPECT_EQ(Run("app", "", -1, 0, 0, 0, 0, 0), -1);
}

TEST(WmiProcessListTest, FirstThresholdReachedWinsElseTheFirstZeroThresholdSorts) {
    const auto fill = [](CWmiProcessList& list) {
        const std::int32_t values[3][3] = {{95, 10, 5}, {20, 500, 7}, {50, 50, 900}};
        for (int i = 0; i < 3; ++i) {
            const std::string id = std::to_string(i + 1);
            auto* process = new CWmiProcess(id.c_str(), id.c_str(), kCompareCpu, 1);
            process->cpuUsage = values[i][0];
            process->memoryMB = values[i][1];
            process->handles = values[i][2];
            list.Append(process);
        }
    };
    const struct {
        std::int32_t cpu, memory, handles;
        const char* id;
        std::uint32_t kind;
    } cases[] = {
        {90, 100, 0, "1", kCompareCpu},
        {99, 100, 0, "2", kCompareMemory},
        {99, 999, 0, "3", kCompareHandles},  // nothing reached: sorted by handles, whose threshold is 0
        {99, 999, 999, "1", kCompareCpu}};   // CPU when no threshold is 0
    for (const auto& c : cases) {
        CWmiProcessList list(c.cpu, c.memory, c.handles);
        fill(list);
        const CWmiProcess* chosen = list.Select();
        ASSERT_NE(chosen, nullptr);
        EXPECT_STREQ(chosen->id.GetText(), c.id);
        EXPECT_EQ(chosen->compareKind, c.kind);
    }
    EXPECT_EQ(CWmiProcessList().Select(), nullptr);
}

}  // namespace
}  // namespace qn::checks_test
