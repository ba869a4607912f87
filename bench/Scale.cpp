// Throughput and scale: many connected handles against one simulator process, driven by several threads that
// run read-only checks in a loop for a fixed time. Reports checks per second, latency percentiles, CPU per
// check, resident memory per connected handle and its course over the run. Prints a Markdown section.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "BenchSupport.h"

namespace {

int EnvNumber(const char* name, int fallback) {
    const char* text = std::getenv(name);
    return text != nullptr && std::atoi(text) > 0 ? std::atoi(text) : fallback;
}

struct CheckBuffers {
    char text[4][256];
    char error[512];
    uint32_t n[5];
};

using CheckCall = uint32_t (*)(QNSNWSM_HANDLE, CheckBuffers&);

struct Check {
    const char* name;
    CheckCall run;
};

const Check kChecks[] = {
    {"WSManGetDomain",
     [](QNSNWSM_HANDLE h, CheckBuffers& b) {
         return WSManGetDomain(h, b.text[0], 256, b.error, sizeof b.error, &b.n[0]);
     }},
    {"WSManGetMemory",
     [](QNSNWSM_HANDLE h, CheckBuffers& b) {
         return WSManGetMemory(h, &b.n[0], &b.n[1], &b.n[2], b.error, sizeof b.error);
     }},
    {"WSManGetLogicalDiskSpace",
     [](QNSNWSM_HANDLE h, CheckBuffers& b) {
         return WSManGetLogicalDiskSpace(h, "C:", &b.n[0], &b.n[1], &b.n[2], &b.n[3], b.error,
                                         sizeof b.error);
     }},
    {"WSManGetCpuUsage",
     [](QNSNWSM_HANDLE h, CheckBuffers& b) {
         return WSManGetCpuUsage(h, "_Total", 0, 0, &b.n[0], b.error, sizeof b.error);
     }},
    {"WSManGetServiceState",
     [](QNSNWSM_HANDLE h, CheckBuffers& b) {
         return WSManGetServiceState(h, "Spooler", b.text[0], 256, b.text[1], 256, &b.n[0], b.text[2], 256,
                                     b.text[3], 256, b.error, sizeof b.error);
     }},
};
constexpr std::size_t kCheckCount = std::size(kChecks);

struct Sample {
    float ms;
    std::uint8_t check;
    bool ok;
};

double Percentile(std::vector<float>& values, double p) {
    if (values.empty()) return 0;
    const auto at = static_cast<std::size_t>(p * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

}  // namespace

int main() {
    const int handleCount = EnvNumber("QNBENCH_HANDLES", 200);
    const int threadCount = EnvNumber("QNBENCH_THREADS", 16);
    const int seconds = EnvNumber("QNBENCH_SECONDS", 20);
    const char* profile = "workstation";

    // NTLM directly: with Negotiate every new connection first tries Kerberos, whose DNS look-ups stall on a
    // slow resolver (see README.md); the steady state is the same.
    qnbench::BenchFolder folder({"AuthScheme=NTLM"});
    const auto log = folder.File("requests.log");
    qnbench::SimProcess sim(folder, {"--profile", profile, "--log", log.string()});

    // One handle first, through every check, so that the libraries' one-time set-up is not counted per
    // handle.
    {
        QNSNWSM_HANDLE warm = qnbench::ConnectHandle(sim.Port(), "warm-up");
        CheckBuffers buffers{};
        for (const auto& check : kChecks) {
            check.run(warm, buffers);
        }
        WSManShutdown(warm);
    }

    const long rssBefore = qnbench::ResidentKiB();
    std::vector<QNSNWSM_HANDLE> handles;
    const double connectStart = qnbench::NowSeconds();
    for (int i = 0; i < handleCount; ++i) {
        handles.push_back(qnbench::ConnectHandle(sim.Port(), "scale"));
    }
    const double connectSeconds = qnbench::NowSeconds() - connectStart;
    const long rssConnected = qnbench::ResidentKiB();
    {
        CheckBuffers buffers{};
        for (auto handle : handles) {
            for (const auto& check : kChecks) {
                check.run(handle, buffers);
            }
        }
    }
    const long rssWarm = qnbench::ResidentKiB();
    const std::size_t logAtStart = qnbench::ReadLog(log).size();

    std::atomic<bool> stop{false};
    std::vector<std::vector<Sample>> samples(static_cast<std::size_t>(threadCount));
    std::vector<std::thread> threads;
    const double cpu0 = qnbench::ProcessCpuSeconds(), sim0 = sim.CpuSeconds(), wall0 = qnbench::NowSeconds();
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([&, t] {
            // Each thread owns every threadCount-th handle: a handle is used by one thread at a time.
            std::vector<QNSNWSM_HANDLE> mine;
            for (std::size_t i = static_cast<std::size_t>(t); i < handles.size();
                 i += static_cast<std::size_t>(threadCount)) {
                mine.push_back(handles[i]);
            }
            auto& out = samples[static_cast<std::size_t>(t)];
            out.reserve(1 << 16);
            CheckBuffers buffers{};
            std::size_t round = static_cast<std::size_t>(t);
            while (!stop.load(std::memory_order_relaxed) && !mine.empty()) {
                const std::size_t which = round % kCheckCount;
                QNSNWSM_HANDLE handle = mine[(round / kCheckCount) % mine.size()];
                const double start = qnbench::NowSeconds();
                const bool ok = kChecks[which].run(handle, buffers) == QNSNWSM_OK;
                out.push_back({static_cast<float>(1e3 * (qnbench::NowSeconds() - start)),
                               static_cast<std::uint8_t>(which), ok});
                ++round;
            }
        });
    }
    // Resident memory once a second; the first quarter of the run is taken as settled.
    std::vector<long> rssCourse;
    for (int s = 0; s < seconds; ++s) {
        std::this_thread::sleep_for(std::chrono::seconds(1));
        rssCourse.push_back(qnbench::ResidentKiB());
    }
    stop = true;
    for (auto& thread : threads) {
        thread.join();
    }
    const double wall = qnbench::NowSeconds() - wall0;
    const double cpu = qnbench::ProcessCpuSeconds() - cpu0;
    const double simCpu = sim.CpuSeconds() - sim0;

    std::vector<float> all;
    std::vector<std::vector<float>> perCheck(kCheckCount);
    std::size_t failures = 0;
    for (const auto& thread : samples) {
        for (const auto& sample : thread) {
            all.push_back(sample.ms);
            perCheck[sample.check].push_back(sample.ms);
            failures += sample.ok ? 0 : 1;
        }
    }
    int legs401 = 0, requests = 0;
    std::set<int> connections;
    for (const auto& line : qnbench::ReadLog(log, logAtStart)) {
        connections.insert(line.connection);
        legs401 += line.status == 401 ? 1 : 0;
        requests += line.action.empty() ? 0 : 1;
    }

    const double checks = static_cast<double>(all.size());
    std::printf(
        "\n## Throughput and scale\n\n%d handles connected to one `qnsnwsm-sim` process (`%s` profile, "
        "`AuthScheme=NTLM`, sealed HTTP), %d threads (each owns every %d-th handle), read-only checks in "
        "turn for "
        "%.1f s.\n\n",
        handleCount, profile, threadCount, threadCount, wall);
    std::printf("| measure | value |\n|---|---|\n");
    std::printf("| checks completed | %.0f (%zu failed) |\n", checks, failures);
    std::printf("| checks per second | **%.0f** |\n", checks / wall);
    std::printf("| latency p50 / p99 / max | %.2f / %.2f / %.2f ms |\n", Percentile(all, 0.5),
                Percentile(all, 0.99), all.empty() ? 0.0 : *std::max_element(all.begin(), all.end()));
    std::printf("| client CPU per check | **%.0f µs** |\n", checks > 0 ? 1e6 * cpu / checks : 0.0);
    std::printf("| simulator CPU per check | %.0f µs |\n", checks > 0 ? 1e6 * simCpu / checks : 0.0);
    std::printf("| HTTP requests per check | %.2f |\n", checks > 0 ? requests / checks : 0.0);
    std::printf("| 401 legs / TCP connections seen during the run | %d / %zu |\n", legs401,
                connections.size());
    std::printf("| connecting %d handles | %.2f s (%.1f ms each) |\n", handleCount, connectSeconds,
                1e3 * connectSeconds / handleCount);
    std::printf(
        "| resident memory per connected handle | **%.0f KiB** (%ld KiB before, %ld KiB after "
        "connecting) |\n",
        static_cast<double>(rssConnected - rssBefore) / handleCount, rssBefore, rssConnected);
    std::printf("| resident memory per handle after one round of checks | %.0f KiB (%ld KiB) |\n",
                static_cast<double>(rssWarm - rssBefore) / handleCount, rssWarm);
    const std::size_t settled = rssCourse.size() / 4;
    std::printf(
        "| resident memory during the run (after %zu s / at the end) | %ld / %ld KiB (growth %+ld KiB) |\n",
        settled + 1, rssCourse.empty() ? 0 : rssCourse[settled], rssCourse.empty() ? 0 : rssCourse.back(),
        rssCourse.empty() ? 0 : rssCourse.back() - rssCourse[settled]);
    std::printf("| simulator resident memory at the end | %ld KiB |\n", sim.ResidentKiB());
    std::printf("\nResident memory, one reading a second (KiB): ");
    for (long value : rssCourse) {
        std::printf("%ld ", value);
    }
    std::printf("\n\n| check | calls | p50 (ms) | p99 (ms) |\n|---|---|---|---|\n");
    for (std::size_t i = 0; i < kCheckCount; ++i) {
        const std::size_t calls = perCheck[i].size();
        std::printf("| %s | %zu | %.2f | %.2f |\n", kChecks[i].name, calls, Percentile(perCheck[i], 0.5),
                    Percentile(perCheck[i], 0.99));
    }
    for (auto handle : handles) {
        WSManShutdown(handle);
    }
    return 0;
}
