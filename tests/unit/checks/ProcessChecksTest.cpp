// Processes: name list, presence, and CPU, memory and handle measurement.
#include "CheckTestSupport.h"

namespace qn::checks_test {
namespace {

constexpr const char* kRawClass = "Win32_PerfRawData_PerfProc_Process";

std::string Process(const std::optional<std::string>& name) {
    return Instance("Win32_Process", {{"Caption", name}, {"Name", name}, {"ProcessId", "4"}});
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

using ProcessListTest = CheckTest;

TEST_F(ProcessListTest, NamesAreSortedOnceEach) {
    Fake().Answer("Win32_Process", {Process("svchost.exe"), Process("System Idle Process"),
                                    Process("SVCHOST.EXE"), Process(std::nullopt), Process("explorer.exe")});
    CQncString list;
    EXPECT_EQ(Module().WinRMGetProcessList(list, error), 0);
    EXPECT_STREQ(list.GetText(), "explorer.exe||svchost.exe||System Idle Process");

    Fake().Fail("Win32_Process", static_cast<HResult>(0x80070005));
    EXPECT_EQ(Module().WinRMGetProcessList(list, error), -1);
    EXPECT_STREQ(list.GetText(), "");
}

using ProcessStateTest = CheckTest;

TEST_F(ProcessStateTest, RunningWithoutRegardToCase) {
    Fake().Answer("Win32_Process", {Process("System"), Process("Notepad.exe")});
    std::uint32_t running = 0;
    EXPECT_EQ(Module().WinRMGetProcessState("notepad.exe", running, error), 0);
    EXPECT_EQ(running, 1u);
    EXPECT_STREQ(error.GetText(), "");
    EXPECT_TRUE(Traced("Process [notepad.exe] is running: yes"));

    // ".exe" belongs to the WMI name: without it nothing matches, and that still completes.
    EXPECT_EQ(Module().WinRMGetProcessState("notepad", running, error), 0);
    EXPECT_EQ(running, 0u);
    EXPECT_STREQ(error.GetText(), "Process not found");
    EXPECT_TRUE(Traced("Process [notepad] is running: no"));
}

TEST_F(ProcessStateTest, NamelessProcessFails) {
    Fake().Answer("Win32_Process", {Process("System"), Process(std::nullopt), Process("notepad.exe")});
    std::uint32_t running = 1;
    EXPECT_EQ(Module().WinRMGetProcessState("notepad.exe", running, error), -1);
    EXPECT_EQ(running, 0u);
    EXPECT_TRUE(Traced("WinRMGetProcessState failed."));
}

class ProcessUsageTest : public CheckTest {
  protected:
    void SetUp() override {
        CheckTest::SetUp();
        Fake().Answer(
            "Win32_Processor",
            {Instance("Win32_Processor", {{"DeviceID", "CPU0"}, {"NumberOfLogicalProcessors", "2"}})});
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
    EXPECT_TRUE(Traced("Process [#300] added, instance name:[Notepad#1]"));
    EXPECT_FALSE(Traced("Process [#200] added, instance name:[explorer]"));
    EXPECT_TRUE(Traced("Value: [5242880]."));
}

TEST_F(ProcessUsageTest, EmptyNameMeasuresAllButTheExcludedAndTheIdleProcess) {
    Fake().Answer(kRawClass, {RawProcess({"Idle", "0"}), RawProcess({"svchost", "10"}),
                              RawProcess({"lsass", "20", 0, 0, 1 << 20}), RawProcess({"svchost#3", "30"}),
                              RawProcess({"_Total", "0"})});
    EXPECT_EQ(Run("", "SVCHOST.exe#2;;spoolsv", -1, 0, 0, 0, 0, -1), 0);
    EXPECT_EQ(Values(), (Numbers{20, 0xFFFFFFFF, 1, 0xFFFFFFFF}));
    EXPECT_STREQ(instance.GetText(), "lsass");
    EXPECT_FALSE(Traced("Process [#10] added, instance name:[svchost]"));
    EXPECT_FALSE(Traced("Process [#30] added, instance name:[svchost#3]"));
}

TEST_F(ProcessUsageTest, MemoryCounterIndexSelectsTheProperty) {
    Fake().Answer(kRawClass, {RawProcess({"app", "7", 0, 0, 4 << 20})});
    EXPECT_EQ(Run("app", nullptr, -1, 0, 0, 1, 1, -1), 0);
    EXPECT_EQ(memoryMB, 8u);  // PrivateBytes
    EXPECT_EQ(Run("app", nullptr, -1, 0, 0, 1, 42, -1), 0);
    EXPECT_EQ(memoryMB, 4u);  // unknown index: private working set
    EXPECT_EQ(Run("app", nullptr, -1, 0, 0, -1, 1, -1), 0);
    EXPECT_EQ(memoryMB, 0xFFFFFFFFu);
}

TEST_F(ProcessUsageTest, CpuIsTheMeanOfThePairsPerProcessor) {
    // Two pairs of samples 1000 ms apart: 50 % and 30 % of one processor, on two processors: 20 %.
    Fake().AnswerNext(kRawClass, {RawProcess({"app", "7", 0, 0})});  // the list itself
    Fake().AnswerNext(kRawClass, {RawProcess({"app", "7", 1000, 10000})});
    Fake().AnswerNext(kRawClass, {RawProcess({"app", "7", 6000, 20000})});
    Fake().AnswerNext(kRawClass, {RawProcess({"app", "7", 10000, 30000})});
    Fake().AnswerNext(kRawClass, {RawProcess({"app", "7", 13000, 40000})});
    EXPECT_EQ(Run("app", "", 0, 1000, -1500, -1, 0, -1), 0);
    EXPECT_EQ(cpuUsage, 20u);
    EXPECT_EQ(Clock().sleeps, (Numbers{1000, 1000}));
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kRawClass), 5);
    EXPECT_TRUE(Traced("*lpN: [6000]"));
    EXPECT_TRUE(Traced("*lpD: [20000]"));
}

TEST_F(ProcessUsageTest, ZeroDurationOrAStandingTimeStampLeavesCpuUnmeasured) {
    Fake().Answer(kRawClass, {RawProcess({"app", "7", 500, 777})});
    EXPECT_EQ(Run("app", "", 10, 10, 0, -1, 0, -1), 0);
    EXPECT_EQ(cpuUsage, 0xFFFFFFFFu);
    EXPECT_TRUE(Clock().sleeps.empty());
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kRawClass), 1);
    EXPECT_EQ(Run("app", "", 5, 10, 10, -1, 0, -1), 0);
    EXPECT_EQ(cpuUsage, 0xFFFFFFFFu);
}

TEST_F(ProcessUsageTest, FailuresLeaveEveryOutputUnmeasured) {
    Fake().Answer(kRawClass, {RawProcess({"other", "7"})});
    EXPECT_EQ(Run("app", "", 0, 0, 0, 0, 0, 0), -1);
    EXPECT_EQ(Values(), (Numbers{0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF}));
    EXPECT_STREQ(instance.GetText(), "");
    EXPECT_TRUE(Traced("CQnWSMan::WinRMGetProcessCpuMemHandles failed."));

    // A process without a handle count fails the measurement.
    Fake().Answer(
        kRawClass,
        {Instance(kRawClass, {{"Name", "app"}, {"IDProcess", "7"}, {"HandleCount", std::nullopt}})});
    EXPECT_EQ(Run("app", "", -1, 0, 0, -1, 0, 0), -1);
    EXPECT_EQ(handles, 0xFFFFFFFFu);

    // A computer that reports no processor cannot have its CPU share computed.
    Fake().Answer("Win32_Processor", {});
    Fake().Answer(kRawClass, {RawProcess({"app", "7"})});
    EXPECT_EQ(Run("app", "", -1, 0, 0, 0, 0, 0), -1);
    EXPECT_EQ(Fake().CountQueries(std::string("select * from ") + kRawClass), 2);
}

TEST_F(ProcessUsageTest, SuccessWritesTheExitLineTwice) {
    Fake().Answer(kRawClass, {RawProcess({"app", "7"})});
    EXPECT_EQ(Run("app", "", -1, 0, 0, 0, 0, 0), 0);
    int exits = 0;
    for (const std::string& line : TraceLines()) {
        exits += line == "CQnWSMan::WinRMGetProcessCpuMemHandles completed." ? 1 : 0;
    }
    EXPECT_EQ(exits, 2);
}

}  // namespace
}  // namespace qn::checks_test
