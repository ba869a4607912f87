// Where the client's time per item goes: the record parser alone (no network), on one rendered Win32_Process
// instance of the `server` profile. Loading the item, reading the stylesheet file, compiling and applying it,
// and the property lookups are timed apart.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "model/ComputerModel.h"
#include "parsing/CSnWinrmNode.h"
#include "platform/XmlDocument.h"
#include "platform/posix/XmlSafeParse.h"
#include "platform/posix/XmlTransform.h"

namespace {

std::string g_item;
std::string g_stylesheet;

void TransformAndLookup(benchmark::State& state) {
    CSnWinrmNode node;
    CQncString value;
    for (auto _ : state) {
        if (node.Transform(g_item.c_str()) != 0) state.SkipWithError("transform failed");
        node.GetValue("Name", 0, value);
        node.GetValue("ProcessId", 0, value);
        benchmark::DoNotOptimize(value.GetText());
    }
}

void LoadItem(benchmark::State& state) {
    auto doc = qn::platform::CreateXmlDocument();
    for (auto _ : state) {
        benchmark::DoNotOptimize(doc->LoadText(g_item));
    }
}

void LoadStylesheetFile(benchmark::State& state) {
    auto doc = qn::platform::CreateXmlDocument();
    for (auto _ : state) {
        benchmark::DoNotOptimize(doc->LoadFile(g_stylesheet.c_str()));
    }
}

// TransformNode with a stylesheet document loaded once (compilation, if not cached, and application).
void TransformNodeOnly(benchmark::State& state) {
    auto item = qn::platform::CreateXmlDocument();
    auto sheet = qn::platform::CreateXmlDocument();
    item->LoadText(g_item);
    sheet->LoadFile(g_stylesheet.c_str());
    std::string output;
    for (auto _ : state) {
        if (!item->TransformNode(*sheet, output)) state.SkipWithError("transform failed");
    }
}

// The two halves of TransformNode apart: compiling the stylesheet, and applying a compiled one.
void CompileOnly(benchmark::State& state) {
    auto sheet = qn::platform::posix::ParseUntrustedFile(g_stylesheet.c_str());
    for (auto _ : state) {
        auto style = qn::platform::posix::CompileStylesheet(*sheet);
        if (style == nullptr) state.SkipWithError("compile failed");
    }
}

void ApplyOnly(benchmark::State& state) {
    auto sheet = qn::platform::posix::ParseUntrustedFile(g_stylesheet.c_str());
    auto style = qn::platform::posix::CompileStylesheet(*sheet);
    std::string output;
    for (auto _ : state) {
        auto item = qn::platform::posix::ParseUntrustedText(g_item);
        if (!qn::platform::posix::ApplyStylesheet(*style, *item, output)) state.SkipWithError("apply failed");
    }
}

void Lookups(benchmark::State& state) {
    CSnWinrmNode node;
    node.Transform(g_item.c_str());
    CQncString value;
    for (auto _ : state) {
        node.GetValue("Name", 0, value);
        node.GetValue("ProcessId", 0, value);
        benchmark::DoNotOptimize(value.GetText());
    }
}

}  // namespace

BENCHMARK(TransformAndLookup)->Unit(benchmark::kMicrosecond);
BENCHMARK(LoadItem)->Unit(benchmark::kMicrosecond);
BENCHMARK(LoadStylesheetFile)->Unit(benchmark::kMicrosecond);
BENCHMARK(TransformNodeOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK(CompileOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK(ApplyOnly)->Unit(benchmark::kMicrosecond);
BENCHMARK(Lookups)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::string error;
    auto model = qnsim::LoadComputerModel("server", error);
    if (!model) {
        std::fprintf(stderr, "profile: %s\n", error.c_str());
        return 1;
    }
    auto items = model->ExecQuery("root/cimv2", "select * from Win32_Process where Name = 'sqlservr.exe'",
                                  std::chrono::steady_clock::now());
    if (!items.ok || items.value.empty()) {
        std::fprintf(stderr, "no Win32_Process item\n");
        return 1;
    }
    g_item = items.value.front().xml;

    // The module finds its stylesheets through the configuration store's program folder.
    char folder[] = "/tmp/qnsnwsm-bench-parser-XXXXXX";
    if (mkdtemp(folder) == nullptr) return 1;
    const std::filesystem::path registry = std::filesystem::path(folder) / "registry.conf";
    std::ofstream(registry) << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder="
                            << QN_SHARE_DIR << "/\n";
    setenv("QNSNWSM_REGISTRY", registry.c_str(), 1);
    g_stylesheet = std::string(QN_SHARE_DIR) + "/Sys/Wsman/WsmTxtEx.xsl";

    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();

    // Memory a parser keeps after its first item (its documents and the compiled stylesheet), per parser.
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
        parsers.back()->Transform(g_item.c_str());
    }
    const long withParsers = resident();
    std::vector<qn::platform::posix::UniqueXsltStylesheet> compiled;
    auto sheet = qn::platform::posix::ParseUntrustedFile(g_stylesheet.c_str());
    for (int i = 0; i < kParsers; ++i) {
        compiled.push_back(qn::platform::posix::CompileStylesheet(*sheet));
    }
    std::printf(
        "\nResident memory per record parser after one item: %ld KiB; of which a compiled stylesheet: "
        "%ld KiB\n",
        (withParsers - before) / kParsers, (resident() - withParsers) / kParsers);
    std::filesystem::remove_all(folder);
    return 0;
}
