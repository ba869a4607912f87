// Methods change the computer's state over time; sampled counters move so that a monitor measures what the
// profile configured. Every moment is passed in explicitly, so nothing here depends on the real clock.
#include <atomic>
#include <set>
#include <thread>

#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

std::uint32_t ReturnValue(const Result<RenderedItem>& result) {
    EXPECT_TRUE(result.ok) << result.error.message;
    return static_cast<std::uint32_t>(std::stoul(PropertyText(result.value.xml, "ReturnValue")));
}

std::string ServiceState(ComputerModel& model, const std::string& name, Clock::time_point now) {
    const auto items =
        Query(model, "select State from Win32_Service where Name = '" + name + "'", "root/cimv2", now);
    return items.size() == 1 ? PropertyText(items.front().xml, "State") : "";
}

TEST(ServiceMethods, StopAndStartPassThroughPendingStates) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const Clock::time_point t0 = Clock::now() + seconds(5);
    const Selectors spooler{{"Name", "Spooler"}};
    const auto invoke = [&](const char* method, Clock::time_point at) {
        return model->Invoke("root/cimv2", "Win32_Service", spooler, method, "", at);
    };

    Result<RenderedItem> stopped = invoke("StopService", t0);
    EXPECT_EQ(ReturnValue(stopped), 0u);
    EXPECT_EQ(stopped.value.xml,
              "<p:StopService_OUTPUT xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
              "xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service\" "
              "xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\"><p:ReturnValue>0</p:ReturnValue>"
              "</p:StopService_OUTPUT>");
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + milliseconds(100)), "Stop Pending");
    EXPECT_EQ(ReturnValue(invoke("StopService", t0 + seconds(1))), 5u)
        << "a pending service accepts no control";
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(3)), "Stopped");
    EXPECT_EQ(ReturnValue(invoke("StopService", t0 + seconds(3))), 5u);
    const auto stoppedItem = model->Get("root/cimv2", "Win32_Service", spooler, t0 + seconds(3));
    EXPECT_EQ(PropertyText(stoppedItem.value.xml, "Started"), "false");
    EXPECT_EQ(PropertyText(stoppedItem.value.xml, "ProcessId"), "0");

    EXPECT_EQ(ReturnValue(invoke("startservice", t0 + seconds(4))), 0u);
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(5)), "Start Pending");
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(7)), "Running");
    EXPECT_EQ(ReturnValue(invoke("StartService", t0 + seconds(7))), 10u);
    // Other services are untouched.
    EXPECT_EQ(ServiceState(*model, "WinRM", t0 + seconds(4)), "Running");
}

TEST(ServiceMethods, RefusalsErrorsAndTheRebootRecord) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const auto invoke = [&](const char* className, const Selectors& selectors, const char* method,
                            const std::string& input = "") {
        return model->Invoke("root/cimv2", className, selectors, method, input, Clock::now());
    };
    EXPECT_EQ(ReturnValue(invoke("Win32_Service", {{"Name", "RemoteRegistry"}}, "StartService")), 14u)
        << "a disabled service does not start";
    EXPECT_EQ(ReturnValue(invoke("Win32_Service", {{"Name", "BITS"}}, "StopService")), 5u);
    EXPECT_EQ(invoke("Win32_Service", {{"Name", "BITS"}}, "Explode").error.kind,
              WmiError::Kind::InvalidMethod);
    EXPECT_EQ(invoke("Win32_Service", {{"Name", "Nope"}}, "StopService").error.kind,
              WmiError::Kind::NotFound);
    EXPECT_EQ(invoke("Win32_Service", {}, "StopService").error.kind, WmiError::Kind::InvalidSelectors);

    EXPECT_EQ(model->RebootRequests(), 0);
    const auto reboot = invoke("Win32_OperatingSystem", {}, "Reboot",
                               "<p:Reboot_INPUT xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/"
                               "cimv2/Win32_OperatingSystem\"></p:Reboot_INPUT>");
    EXPECT_EQ(ReturnValue(reboot), 0u);
    EXPECT_TRUE(reboot.value.xml.starts_with("<p:Reboot_OUTPUT "));
    EXPECT_EQ(model->RebootRequests(), 1);
}

TEST(ApplicationPoolMethods, GetStateAnswersTheConfiguredState) {
    auto model = LoadBundled("server");
    ASSERT_TRUE(model);
    const auto now = Clock::now();
    const auto state = [&](const char* pool) {
        return ReturnValue(model->Invoke("root/WebAdministration", "ApplicationPool", {{"Name", pool}},
                                         "GetState", "", now));
    };
    EXPECT_EQ(state("DefaultAppPool"), 1u);
    EXPECT_EQ(state("LegacyIntranet"), 3u);
    EXPECT_EQ(state("ReportingService"), 2u);
    EXPECT_EQ(ReturnValue(model->Invoke("root/WebAdministration", "ApplicationPool", {{"Name", "OrdersApi"}},
                                        "Stop", "", now)),
              0u);
    EXPECT_EQ(state("OrdersApi"), 3u);
    const auto output = model->Invoke("root\\WebAdministration", "ApplicationPool",
                                      {{"Name", "DefaultAppPool"}}, "GetState", "", now);
    EXPECT_NE(output.value.xml.find(
                  "xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/WebAdministration/"
                  "ApplicationPool\""),
              std::string::npos);
}

// The module's formula: (dPercentProcessorTime / dTimeStamp_Sys100NS) * 100 / logical CPUs.
double MeasuredLoad(SimulatedComputer& model, const std::string& instance, Clock::time_point first,
                    Clock::time_point second) {
    const std::string wql =
        "select PercentProcessorTime, Timestamp_Sys100NS from Win32_PerfRawData_PerfProc_Process "
        "where Name = '" +
        instance + "'";
    const auto a = Query(model, wql, "root/cimv2", first);
    const auto b = Query(model, wql, "root/cimv2", second);
    EXPECT_EQ(a.size(), 1u);
    EXPECT_EQ(b.size(), 1u);
    if (a.size() != 1 || b.size() != 1) return -1;
    const double time = std::stod(PropertyText(b[0].xml, "PercentProcessorTime")) -
                        std::stod(PropertyText(a[0].xml, "PercentProcessorTime"));
    const double stamp = std::stod(PropertyText(b[0].xml, "Timestamp_Sys100NS")) -
                         std::stod(PropertyText(a[0].xml, "Timestamp_Sys100NS"));
    return time / stamp * 100.0 / model.LogicalProcessors();
}

TEST(MovingCounters, RawProcessCountersGiveTheConfiguredLoad) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const Clock::time_point t = Clock::now() + seconds(60);
    EXPECT_NEAR(MeasuredLoad(*model, "backupagent", t, t + seconds(2)), 30.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*model, "notepad", t, t + milliseconds(1500)), 12.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*model, "notepad#1", t + seconds(100), t + seconds(105)), 12.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*model, "explorer", t, t + seconds(2)), 0.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*model, "Idle", t, t + seconds(2)), 100.0 - 30.0 - 24.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*model, "_Total", t, t + seconds(2)), 100.0, 0.01);

    const auto totals = Query(*model,
                              "select IDProcess, Frequency_Sys100NS from Win32_PerfRawData_PerfProc_Process "
                              "where Name = '_Total' or Name = 'Idle'");
    ASSERT_EQ(totals.size(), 2u);
    for (const auto& item : totals) {
        EXPECT_EQ(PropertyText(item.xml, "IDProcess"), "0");
        EXPECT_EQ(PropertyText(item.xml, "Frequency_Sys100NS"), "10000000");
    }
}

TEST(MovingCounters, ProcessorPercentagesMoveAndTotalIsTheirMean) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    std::set<std::string> seen;
    for (int step = 0; step < 12; ++step) {
        const auto items =
            Query(*model, "select Name, PercentProcessorTime from Win32_PerfFormattedData_PerfOS_Processor",
                  "root/cimv2", Clock::now() + seconds(step * 7));
        ASSERT_EQ(items.size(), 5u);
        long sum = 0;
        for (std::size_t cpu = 0; cpu < 4; ++cpu) {
            const long value = std::stol(PropertyText(items[cpu].xml, "PercentProcessorTime"));
            EXPECT_GE(value, 0);
            EXPECT_LE(value, 100);
            sum += value;
        }
        const std::string total = PropertyText(items[4].xml, "PercentProcessorTime");
        EXPECT_EQ(std::stol(total), sum / 4);
        seen.insert(total);
    }
    EXPECT_GT(seen.size(), 3u) << "the load should move over a minute and a half";
}

TEST(MovingCounters, ServerCountersUseSixteenCpusAndTheSameMomentGivesTheSameValues) {
    auto model = LoadBundled("server");
    ASSERT_TRUE(model);
    ASSERT_EQ(model->LogicalProcessors(), 16u);
    const auto at = Clock::now() + seconds(42);
    EXPECT_NEAR(MeasuredLoad(*model, "sqlservr", at, at + seconds(1)), 35.0, 0.01);
    const char* wql = "select * from Win32_PerfRawData_MSMQ_MSMQQueue";
    EXPECT_EQ(Query(*model, wql, "root/cimv2", at)[0].xml, Query(*model, wql, "root/cimv2", at)[0].xml);
    EXPECT_NE(Query(*model, wql, "root/cimv2", at)[0].xml,
              Query(*model, wql, "root/cimv2", at + seconds(20))[0].xml);
    const auto nic =
        Query(*model, "select BytesTotalPersec from Win32_PerfFormattedData_Tcpip_NetworkInterface",
              "root/cimv2", at);
    EXPECT_GT(std::stol(PropertyText(nic[0].xml, "BytesTotalPersec")), 0);
}

TEST(Concurrency, QueriesAndMethodsFromManyThreads) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const auto start = Clock::now();
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                const auto at = start + seconds(i * 4 + t);
                if (!model->ExecQuery("root/cimv2", "select Name, State from Win32_Service", at).ok)
                    ++failures;
                const char* method = (i + t) % 2 == 0 ? "StopService" : "StartService";
                if (!model->Invoke("root/cimv2", "Win32_Service", {{"Name", "Themes"}}, method, "", at).ok)
                    ++failures;
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(failures.load(), 0);
    const std::string state = ServiceState(*model, "Themes", start + seconds(200));
    EXPECT_TRUE(state == "Running" || state == "Stopped") << state;
}

}  // namespace
}  // namespace qnsim::test
