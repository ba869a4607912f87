// Transform and lookups per item: the record parser alone (no network) on the items the checks see, the
// `server` profile's 2,000 Win32_Process instances, its Win32_PerfRawData_PerfProc_Process counters and the
// full class list (meta_class) as the service renders them. Each item is transformed with the installed
// WsmTxtEx.xsl and read the way the checks read it. The steps of one item are then timed apart, and the
// price of the same work through libxslt is shown beside it.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "model/ComputerModel.h"
#include "parsing/CSnWinrmNode.h"
#include "platform/XmlDocument.h"
#include "platform/posix/XmlLibrary.h"
#include "platform/posix/XmlTransform.h"

namespace {

struct ItemSet {
    std::vector<std::string> items;
    std::vector<const char*> lookups;  // what the checks read from each record
};

ItemSet g_processes;
ItemSet g_counters;
ItemSet g_classes;
std::string g_stylesheet;

// Every item once per iteration; the counters report the time per item.
void TransformAndLookups(benchmark::State& state, const ItemSet* set) {
    CSnWinrmNode node;
    CQncString value;
    for (auto _ : state) {
        for (const std::string& item : set->items) {
            if (node.Transform(item.c_str()) != 0) state.SkipWithError("transform failed");
            for (const char* property : set->lookups) node.GetValue(property, 0, value);
            benchmark::DoNotOptimize(value.GetText());
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(set->items.size()));
    state.counters["us_per_item"] = benchmark::Counter(
        static_cast<double>(state.iterations() * set->items.size()),
        benchmark::Counter::kIsRate | benchmark::Counter::kInvert, benchmark::Counter::kIs1000);
}

const std::string& OneItem() {
    return g_processes.items[g_processes.items.size() / 2];
}

void LoadItem(benchmark::State& state) {
    auto doc = qn::platform::CreateXmlDocument();
    for (auto _ : state) benchmark::DoNotOptimize(doc->LoadText(OneItem()));
}

void LoadStylesheetFile(benchmark::State& state) {
    auto doc = qn::platform::CreateXmlDocument();
    for (auto _ : state) benchmark::DoNotOptimize(doc->LoadFile(g_stylesheet.c_str()));
}

// TransformNode with the installed stylesheet loaded once: the native record writer.
void TransformNodeOnly(benchmark::State& state) {
    auto item = qn::platform::CreateXmlDocument();
    auto sheet = qn::platform::CreateXmlDocument();
    item->LoadText(OneItem());
    sheet->LoadFile(g_stylesheet.c_str());
    std::string output;
    for (auto _ : state) {
        if (!item->TransformNode(*sheet, output)) state.SkipWithError("transform failed");
    }
}

// The same stylesheet compiled and applied by libxslt: what an edited copy of the file costs.
void CompileWithLibxslt(benchmark::State& state) {
    auto sheet = qn::platform::posix::ParseUntrustedFile(g_stylesheet.c_str());
    for (auto _ : state) {
        if (qn::platform::posix::CompileStylesheet(*sheet) == nullptr) state.SkipWithError("compile failed");
    }
}

void ApplyWithLibxslt(benchmark::State& state) {
    auto sheet = qn::platform::posix::ParseUntrustedFile(g_stylesheet.c_str());
    auto style = qn::platform::posix::CompileStylesheet(*sheet);
    std::string output;
    for (auto _ : state) {
        auto item = wsman::xml::ParseUntrusted(OneItem());
        if (!qn::platform::posix::ApplyStylesheet(*style, *item, output)) state.SkipWithError("apply failed");
    }
}

void Lookups(benchmark::State& state) {
    CSnWinrmNode node;
    node.Transform(OneItem().c_str());
    CQncString value;
    for (auto _ : state) {
        node.GetValue("Name", 0, value);
        node.GetValue("ProcessId", 0, value);
        benchmark::DoNotOptimize(value.GetText());
    }
}

bool Collect(qnsim::ComputerModel& model, const std::string& wql, ItemSet& set) {
    auto result = model.ExecQuery("root/cimv2", wql, std::chrono::steady_clock::now());
    if (!result.ok || result.value.empty()) {
        std::fprintf(stderr, "no items for %s\n", wql.c_str());
        return false;
    }
    for (const qnsim::RenderedItem& item : result.value) set.items.push_back(item.xml);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::string error;
    auto model = qnsim::LoadComputerModel("server", error);
    if (!model) {
        std::fprintf(stderr, "profile: %s\n", error.c_str());
        return 1;
    }
    // The properties WSManGetProcessState / WSManGetProcessList, WSManGetProcessCpuMemHandles and
    // WSManCollectClasses read from each record.
    g_processes.lookups = {"Name"};
    g_counters.lookups = {"Name", "IDProcess", "WorkingSetPrivate", "HandleCount"};
    g_classes.lookups = {"__CLASS"};
    if (!Collect(*model, "select * from Win32_Process", g_processes) ||
        !Collect(*model, "select * from Win32_PerfRawData_PerfProc_Process", g_counters) ||
        !Collect(*model, "select * from meta_class", g_classes)) {
        return 1;
    }

    // The module finds its stylesheets through the configuration store's program folder.
    char folder[] = "/tmp/qnsnwsm-bench-parser-XXXXXX";
    if (mkdtemp(folder) == nullptr) return 1;
    const std::filesystem::path registry = std::filesystem::path(folder) / "registry.conf";
    std::ofstream(registry) << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder="
                            << QN_SHARE_DIR << "/\n";
    setenv("QNSNWSM_REGISTRY", registry.c_str(), 1);
    setenv("QNSNWSM_STATE", registry.c_str(), 1);
    g_stylesheet = std::string(QN_SHARE_DIR) + "/Sys/Wsman/WsmTxtEx.xsl";

    benchmark::RegisterBenchmark("TransformAndLookups/Win32_Process", TransformAndLookups, &g_processes)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("TransformAndLookups/PerfProc_Process", TransformAndLookups, &g_counters)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("TransformAndLookups/meta_class", TransformAndLookups, &g_classes)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("OneItem/LoadItem", LoadItem)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("OneItem/TransformNode", TransformNodeOnly)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("OneItem/Lookups", Lookups)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Stylesheet/LoadFile", LoadStylesheetFile)->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("Stylesheet/CompileWithLibxslt", CompileWithLibxslt)
        ->Unit(benchmark::kMicrosecond);
    benchmark::RegisterBenchmark("OneItem/ApplyWithLibxslt", ApplyWithLibxslt)->Unit(benchmark::kMicrosecond);
    std::printf("Items: %zu Win32_Process, %zu Win32_PerfRawData_PerfProc_Process, %zu class definitions\n",
                g_processes.items.size(), g_counters.items.size(), g_classes.items.size());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    // Memory a record parser keeps after its first item (its documents and the parser's name dictionary).
    constexpr int kParsers = 200;
    const auto resident = [] {
        std::ifstream statm("/proc/self/statm");
        long size = 0, pages = 0;
        statm >> size >> pages;
        return pages * 4;
    };
    const long before = resident();
    std::vector<std::unique_ptr<CSnWinrmNode>> parsers;
    for (int i = 0; i < kParsers; ++i) {
        parsers.push_back(std::make_unique<CSnWinrmNode>());
        parsers.back()->Transform(OneItem().c_str());
    }
    std::printf("\nResident memory per record parser after one item: %ld KiB\n",
                (resident() - before) / kParsers);
    std::filesystem::remove_all(folder);
    return 0;
}
