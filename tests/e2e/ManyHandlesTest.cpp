// Many handles on many threads at once, the way a host monitor drives the module: each thread owns its
// handle, connects with NTLM and sealed messages to one simulated computer and runs checks in a loop.
// Built with -fsanitize=thread in CI, so shared state between handles shows up as a data race.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "ModuleBench.h"

namespace qn::e2e {
namespace {

// The first failure of one thread's handle; empty when every call succeeded.
std::string RunHandle(const qntest::Bench& bench, int thread) {
    QNSNWSM_HANDLE handle = nullptr;
    const std::string trace = bench.Scratch().File("trace-" + std::to_string(thread) + ".log");
    if (WSManInitialize("many", trace.c_str(), &handle) != QNSNWSM_OK) return "initialize";
    std::string failure;
    char text[1 << 16], err[512];
    if (WSManConnectToComputer(handle, "127.0.0.1", qntest::kUser, qntest::kPassword, "root/cimv2",
                               bench.SimPort(), 0, 0, err, sizeof err) != QNSNWSM_OK)
        failure = std::string("connect: ") + err;
    for (int round = 0; round < 3 && failure.empty(); ++round) {
        std::uint32_t role = 0, available = 0, committed = 0, pages = 0;
        if (WSManGetDomain(handle, text, sizeof text, err, sizeof err, &role) != QNSNWSM_OK || role != 1)
            failure = std::string("domain: ") + err;
        else if (WSManGetMemory(handle, &available, &committed, &pages, err, sizeof err) != QNSNWSM_OK ||
                 available == 0)
            failure = std::string("memory: ") + err;
        else if (WSManGetServiceList(handle, text, sizeof text, err, sizeof err) != QNSNWSM_OK ||
                 std::string(text).find("Spooler") == std::string::npos)
            failure = std::string("services: ") + err;
    }
    WSManDisconnectComputer(handle);
    WSManShutdown(handle);
    return failure;
}

TEST(ManyHandlesTest, IndependentHandlesOnSeparateThreadsAllSucceed) {
    qntest::Bench bench(qntest::Transport::SealedNtlm);
    ASSERT_TRUE(bench.StartSim({.profile = "workstation"})) << bench.SimError();
    std::vector<std::string> failures(8);
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) threads.emplace_back([&, t] { failures[t] = RunHandle(bench, t); });
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < 8; ++t) EXPECT_EQ(failures[t], "") << "thread " << t;
}

}  // namespace
}  // namespace qn::e2e
