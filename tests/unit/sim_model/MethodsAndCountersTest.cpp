// Methods change the computer's state over time; sampled counters move so that a monitor measures what the
// profile configured. Every moment is passed in explicitly, so nothing here depends on the real clock.
#include <atomic>
#include <set>
#include <thread>

#include "ModelTestSupport.h"

namespace qnsim::test {
namespace {

using std::chrono::seconds;
using Clock = std::chrono::steady_clock;

std::uint32_t ReturnValue(const Result<RenderedItem>& result) {
    EXPECT_TRUE(result.ok) << result.error.message;
    return result.ok ? static_cast<std::uint32_t>(std::stoul(PropertyText(result.value.xml, "ReturnValue")))
                     : 99;
}

std::string ServiceState(ComputerModel& model, const std::string& name, Clock::time_point now) {
    const auto items =
        Query(model, "select State from Win32_Service where Name = '" + name + "'", "root/cimv2", now);
    return items.size() == 1 ? PropertyText(items.front().xml, "State") : "";
}

TEST(Methods, ServicesPassThroughPendingStatesAndPoolsStop) {
    auto model = LoadBundled("workstation");
    ASSERT_TRUE(model);
    const Clock::time_point t0 = Clock::now() + seconds(5);
    const auto invoke = [&](const char* service, const char* method, Clock::time_point at) {
        return model->Invoke("root/cimv2", "Win32_Service", {{"Name", service}}, method, "", at);
    };
    EXPECT_EQ(ReturnValue(invoke("Spooler", "StopService", t0)), 0u);
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(1)), "Stop Pending");
    EXPECT_EQ(ReturnValue(invoke("Spooler", "StopService", t0 + seconds(1))), 5u);  // pending: no control
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(3)), "Stopped");
    EXPECT_EQ(ReturnValue(invoke("Spooler", "startservice", t0 + seconds(4))), 0u);
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(5)), "Start Pending");
    EXPECT_EQ(ServiceState(*model, "Spooler", t0 + seconds(7)), "Running");
    EXPECT_EQ(ReturnValue(invoke("Spooler", "StartService", t0 + seconds(7))), 10u);  // already running

    EXPECT_EQ(ReturnValue(invoke("RemoteRegistry", "StartService", t0)), 14u);  // disabled
    EXPECT_EQ(invoke("BITS", "Explode", t0).error.kind, WmiError::Kind::InvalidMethod);
    EXPECT_EQ(invoke("Nope", "StopService", t0).error.kind, WmiError::Kind::NotFound);

    const auto reboot = model->Invoke("root/cimv2", "Win32_OperatingSystem", {}, "Reboot", "", t0);
    EXPECT_EQ(ReturnValue(reboot), 0u);
    EXPECT_EQ(model->RebootRequests(), 1);

    auto server = LoadBundled("server");
    ASSERT_TRUE(server);
    const auto pool = [&](const char* method) {
        return ReturnValue(server->Invoke("root\\WebAdministration", "ApplicationPool",
                                          {{"Name", "OrdersApi"}}, method, "", t0));
    };
    EXPECT_EQ(pool("GetState"), 1u);
    EXPECT_EQ(pool("Stop"), 0u);
    EXPECT_EQ(pool("GetState"), 3u);
}

// The module's formula: (dPercentProcessorTime / dTimeStamp_Sys100NS) * 100 / logical CPUs.
double MeasuredLoad(SimulatedComputer& model, const std::string& instance, Clock::time_point first,
                    Clock::time_point second) {
    const std::string wql =
        "select * from Win32_PerfRawData_PerfProc_Process where Name = '" + instance + "'";
    const auto a = Query(model, wql, "root/cimv2", first);
    const auto b = Query(model, wql, "root/cimv2", second);
    if (a.size() != 1 || b.size() != 1) return -1;
    const auto delta = [&](const char* property) {
        return std::stod(PropertyText(b[0].xml, property)) - std::stod(PropertyText(a[0].xml, property));
    };
    return delta("PercentProcessorTime") / delta("Timestamp_Sys100NS") * 100.0 / model.LogicalProcessors();
}

TEST(MovingCounters, GiveTheConfiguredLoadAndMove) {
    auto workstation = LoadBundled("workstation");
    ASSERT_TRUE(workstation);
    const Clock::time_point t = Clock::now() + seconds(60);
    EXPECT_NEAR(MeasuredLoad(*workstation, "backupagent", t, t + seconds(2)), 30.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*workstation, "Idle", t, t + seconds(2)), 100.0 - 30.0 - 24.0, 0.01);
    EXPECT_NEAR(MeasuredLoad(*workstation, "_Total", t, t + seconds(2)), 100.0, 0.01);
    // Formatted processor percentages move, _Total is the mean of the CPUs, and a moment gives one answer.
    const char* wql = "select Name, PercentProcessorTime from Win32_PerfFormattedData_PerfOS_Processor";
    EXPECT_EQ(Query(*workstation, wql, "root/cimv2", t)[0].xml,
              Query(*workstation, wql, "root/cimv2", t)[0].xml);
    std::set<std::string> seen;
    for (int step = 0; step < 12; ++step) {
        const auto items = Query(*workstation, wql, "root/cimv2", t + seconds(step * 7));
        ASSERT_EQ(items.size(), 5u);
        long sum = 0;
        for (std::size_t cpu = 0; cpu < 4; ++cpu)
            sum += std::stol(PropertyText(items[cpu].xml, "PercentProcessorTime"));
        const std::string total = PropertyText(items[4].xml, "PercentProcessorTime");
        EXPECT_EQ(std::stol(total), sum / 4);
        seen.insert(total);
    }
    EXPECT_GT(seen.size(), 3u) << "the load should move over a minute and a half";
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
