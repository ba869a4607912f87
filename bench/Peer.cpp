// Side by side in one run, against one simulator process: the library's service and process lists and
// pywinrm sending the same WQL (NTLM with message encryption over HTTP, Enumerate and Pulls until the end).
// Wall and CPU time per query of each client process. Prints a Markdown section.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "BenchSupport.h"

namespace {

struct Measure {
    double wall = 0;  // seconds per query
    double cpu = 0;
    long names = 0;
    bool ok = false;
};

int Count() {
    const char* text = std::getenv("QNBENCH_PEER_QUERIES");
    return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : 10;
}

long ListEntries(const char* list) {
    if (*list == '\0') return 0;
    long entries = 1;
    for (const char* at = list; (at = std::strstr(at, "||")) != nullptr; at += 2) {
        ++entries;
    }
    return entries;
}

Measure Ours(QNSNWSM_HANDLE handle, const std::string& className, int count) {
    static char list[1 << 20];  // what the front end, plugin and exporter pass (the export zeroes it whole)
    static char error[512];
    const auto call = [&] {
        return className == "Win32_Service"
                   ? WSManGetServiceList(handle, list, sizeof list, error, sizeof error)
                   : WSManGetProcessList(handle, list, sizeof list, error, sizeof error);
    };
    Measure measure;
    measure.ok = call() == QNSNWSM_OK;  // warm
    const double wall0 = qnbench::NowSeconds(), cpu0 = qnbench::ProcessCpuSeconds();
    for (int i = 0; i < count; ++i) {
        measure.ok = call() == QNSNWSM_OK && measure.ok;
    }
    measure.wall = (qnbench::NowSeconds() - wall0) / count;
    measure.cpu = (qnbench::ProcessCpuSeconds() - cpu0) / count;
    measure.names = ListEntries(list);
    return measure;
}

Measure Peer(std::uint16_t port, const std::string& className, int count) {
    const std::string command = std::string(QN_SYSTEM_PYTHON) + " " + QN_BENCH_DIR + "/peer_pywinrm.py " +
                                std::to_string(port) + " 'PC1\\monitor' '" + qnbench::kPassword + "' " +
                                className + " " + std::to_string(count);
    Measure measure;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return measure;
    std::string output;
    char buffer[512];
    while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
        output += buffer;
    }
    measure.ok = pclose(pipe) == 0;
    std::smatch match;
    if (measure.ok &&
        std::regex_search(output, match,
                          std::regex(R"re("names": (\d+), "wall": ([0-9.e-]+), "cpu": ([0-9.e-]+))re"))) {
        measure.names = std::stol(match[1].str());
        measure.wall = std::stod(match[2].str());
        measure.cpu = std::stod(match[3].str());
    } else {
        measure.ok = false;
        std::fprintf(stderr, "pywinrm: %s\n", output.c_str());
    }
    return measure;
}

}  // namespace

int main() {
    const int count = Count();
    qnbench::BenchFolder folder;
    qnbench::SimProcess sim(folder, {"--profile", "server"});
    QNSNWSM_HANDLE handle = qnbench::ConnectHandle(sim.Port(), "peer");

    std::printf(
        "\n## Against pywinrm, side by side\n\nOne `qnsnwsm-sim` process (`server` profile: 2,000 "
        "processes), NTLM with message encryption over HTTP, each client on its own warm connection, "
        "%d queries each (after one to warm up). Ours: the list export (Enumerate and Pulls, then "
        "every item through the record parser's stylesheet, sorted, joined). pywinrm 0.3 "
        "(Debian's python3-winrm): the same Enumerate and Pulls (MaxElements 32000, MaxEnvelopeSize "
        "512000), each item's Name read with ElementTree. CPU is each client process's own.\n\n",
        count);
    std::printf(
        "| query | client | names | wall per query (ms) | CPU per query (ms) |\n|---|---|---|---|---|\n");
    std::vector<std::pair<std::string, std::pair<Measure, Measure>>> results;
    for (const std::string className : {"Win32_Service", "Win32_Process"}) {
        const Measure ours = Ours(handle, className, count);
        const Measure peer = Peer(sim.Port(), className, count);
        std::printf("| select * from %s | qnsnwsm | %ld | %.1f | %.1f |\n", className.c_str(), ours.names,
                    1e3 * ours.wall, 1e3 * ours.cpu);
        std::printf("| select * from %s | pywinrm | %ld | %.1f | %.1f |\n", className.c_str(), peer.names,
                    1e3 * peer.wall, 1e3 * peer.cpu);
        results.push_back({className, {ours, peer}});
    }
    std::printf("\n| query | wall ours / pywinrm | CPU ours / pywinrm |\n|---|---|---|\n");
    for (const auto& [className, pair] : results) {
        const auto& [ours, peer] = pair;
        if (!ours.ok || !peer.ok || peer.wall <= 0 || peer.cpu <= 0) {
            std::printf("| %s | (a client failed) | |\n", className.c_str());
            continue;
        }
        std::printf("| %s | **%.2f** | **%.2f** |\n", className.c_str(), ours.wall / peer.wall,
                    ours.cpu / peer.cpu);
    }
    WSManShutdown(handle);
    return 0;
}
