// Client CPU per item: the list and lookup checks over the `server` profile's processes and the class list,
// at two sizes of the process table. The simulator runs as a separate process, so getrusage of this process
// is the client's CPU alone. Prints Google Benchmark's table, then a Markdown section.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "model/ComputerModel.h"

namespace {

struct Row {
    std::string check;
    int processes = 0;
    std::size_t items = 0;
    int requests = 0;
    double clientUsPerCall = 0;
    double clientUsPerItem = 0;
    double systemUsPerItem = 0;
    double simUsPerItem = 0;
    double wallMsPerCall = 0;
};

std::vector<Row> g_rows;

struct Target {
    int processes;
    std::string profile;  // name or file
    std::unique_ptr<qnbench::SimProcess> sim;
    std::unique_ptr<qnsim::ComputerModel> model;
    std::filesystem::path log;
    QNSNWSM_HANDLE handle = nullptr;
};

using CheckCall = std::function<uint32_t(QNSNWSM_HANDLE)>;

// How many items the check's enumeration returns: its WQL (from the request log) asked of a local copy of the
// same profile.
std::size_t ItemsOf(Target& target, const CheckCall& call, int& requests) {
    const std::size_t at = qnbench::ReadLog(target.log).size();
    call(target.handle);
    std::size_t items = 0;
    requests = 0;
    for (const auto& line : qnbench::ReadLog(target.log, at)) {
        if (line.action.empty()) continue;
        ++requests;
        if (line.action != "Enumerate") continue;
        auto result = target.model->ExecQuery("root/cimv2", line.filter, std::chrono::steady_clock::now());
        items += result.ok ? result.value.size() : 0;
    }
    return items;
}

void RunCheck(benchmark::State& state, Target* target, std::string name, CheckCall call) {
    int requests = 0;
    const std::size_t items = ItemsOf(*target, call, requests);
    double client = 0, system = 0, sim = 0, wall = 0;
    uint32_t failures = 0;
    // Steady checks take almost none: a check that frees its memory to the system and takes it again
    // page by page shows here (a fault costs about 11 µs on the VM these numbers come from).
    const long faults0 = qnbench::ProcessPageFaults();
    for (auto _ : state) {
        const double cpu0 = qnbench::ProcessCpuSeconds(), system0 = qnbench::ProcessSystemSeconds(),
                     sim0 = target->sim->CpuSeconds(), wall0 = qnbench::NowSeconds();
        failures += call(target->handle) == QNSNWSM_OK ? 0 : 1;
        client += qnbench::ProcessCpuSeconds() - cpu0;
        system += qnbench::ProcessSystemSeconds() - system0;
        wall += qnbench::NowSeconds() - wall0;
        sim += target->sim->CpuSeconds() - sim0;
    }
    const double calls = static_cast<double>(state.iterations());
    const double perItem = items > 0 ? 1e6 * client / calls / static_cast<double>(items) : 0;
    const double systemPerItem = items > 0 ? 1e6 * system / calls / static_cast<double>(items) : 0;
    state.counters["items"] = static_cast<double>(items);
    state.counters["client_us_per_item"] = perItem;
    state.counters["failures"] = failures;
    state.counters["faults_per_call"] =
        static_cast<double>(qnbench::ProcessPageFaults() - faults0) / static_cast<double>(state.iterations());
    g_rows.push_back({name, target->processes, items, requests, 1e6 * client / calls, perItem, systemPerItem,
                      items > 0 ? 1e6 * sim / calls / static_cast<double>(items) : 0, 1e3 * wall / calls});
}

int Iterations() {
    const char* text = std::getenv("QNBENCH_ITERATIONS");
    return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : 10;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    qnbench::BenchFolder folder;

    static char list[1 << 21];
    static char error[512];
    static char instance[256];
    static uint32_t n[6];
    const std::vector<std::pair<std::string, CheckCall>> checks = {
        {"WSManGetProcessList",
         [](QNSNWSM_HANDLE h) { return WSManGetProcessList(h, list, sizeof list, error, sizeof error); }},
        {"WSManGetProcessState",
         [](QNSNWSM_HANDLE h) {
             return WSManGetProcessState(h, "explorer.exe", &n[0], error, sizeof error);
         }},
        {"WSManGetProcessCpuMemHandles",
         [](QNSNWSM_HANDLE h) {
             return WSManGetProcessCpuMemHandles(h, "sqlservr", nullptr, 90, 0, 0, 100, 0, 1000, &n[0],
                                                 instance, sizeof instance, &n[1], &n[2], &n[3], error,
                                                 sizeof error);
         }},
        {"WSManCollectClasses",
         [](QNSNWSM_HANDLE h) { return WSManCollectClasses(h, list, sizeof list, error, sizeof error); }},
    };

    std::vector<std::unique_ptr<Target>> targets;
    for (int processes : {1000, 2000}) {
        auto target = std::make_unique<Target>();
        target->processes = processes;
        target->profile = processes == 2000 ? "server" : qnbench::ScaledServerProfile(folder, processes);
        target->log = folder.File(("requests-" + std::to_string(processes) + ".log").c_str());
        target->sim = std::make_unique<qnbench::SimProcess>(
            folder, std::vector<std::string>{"--profile", target->profile, "--log", target->log.string()});
        std::string loadError;
        target->model = qnsim::LoadComputerModel(target->profile, loadError);
        if (!target->model) {
            std::fprintf(stderr, "profile: %s\n", loadError.c_str());
            return 1;
        }
        target->handle = qnbench::ConnectHandle(target->sim->Port(), "items");
        for (const auto& [name, call] : checks) {
            if (name == "WSManCollectClasses" && processes != 2000) continue;  // independent of the processes
            benchmark::RegisterBenchmark((name + "/processes:" + std::to_string(processes)).c_str(), RunCheck,
                                         target.get(), name, call)
                ->Iterations(Iterations())
                ->MeasureProcessCPUTime()
                ->UseRealTime()
                ->Unit(benchmark::kMillisecond);
        }
        targets.push_back(std::move(target));
    }

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    std::printf(
        "\n## Client CPU per item, whole checks\n\n`server` profile (2,000 processes) and a copy resized to "
        "1,000 processes; simulator in a separate process; %d calls each on a warm session. Client CPU is "
        "getrusage of the benchmark process (the whole check: HTTP, unsealing, the reply's XML, each item's "
        "text, its record and the check's own work); the simulator's CPU is read from /proc for comparison. "
        "Where an item's microseconds go is shown by the reply-path and parser runs below.\n\n",
        Iterations());
    std::printf(
        "| check | processes | items per call | HTTP requests per call | client CPU per call (ms) | "
        "client CPU per item (µs) | of it system (µs) | simulator CPU per item (µs) | wall per call (ms) "
        "|\n");
    std::printf("|---|---|---|---|---|---|---|---|---|\n");
    for (const auto& row : g_rows) {
        std::printf("| %s | %d | %zu | %d | %.2f | **%.1f** | %.1f | %.1f | %.1f |\n", row.check.c_str(),
                    row.processes, row.items, row.requests, row.clientUsPerCall / 1000, row.clientUsPerItem,
                    row.systemUsPerItem, row.simUsPerItem, row.wallMsPerCall);
    }
    for (auto& target : targets) {
        WSManShutdown(target->handle);
        target->sim->Stop();
    }
    return 0;
}
