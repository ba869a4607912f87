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

TEST(ManyHandlesTest, IndependentHandlesOnSeparateThreadsAllSucceed) {
    qntest::Bench bench(qntest::Transport::SealedNtlm);
    std::string error;
    ASSERT_TRUE(bench.StartSim({.profile = "workstation"}, error)) << error;

    constexpr int kThreads = 8;
    constexpr int kRounds = 3;
    std::vector<std::string> firstErrors(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            QNSNWSM_HANDLE handle = nullptr;
            const std::string trace = bench.Scratch().File("trace-" + std::to_string(t) + ".log");
            if (WSManInitialize("many", trace.c_str(), &handle) != QNSNWSM_OK) {
                firstErrors[t] = "initialize";
                return;
            }
            char text[1 << 16];
            char err[512];
            auto fail = [&](const char* what) {
                if (firstErrors[t].empty()) firstErrors[t] = std::string(what) + ": " + err;
            };
            if (WSManConnectToComputer(handle, "127.0.0.1", qntest::kUser, qntest::kPassword, "root/cimv2",
                                       bench.SimPort(), 0, 0, err, sizeof err) != QNSNWSM_OK) {
                fail("connect");
            } else {
                for (int round = 0; round < kRounds; ++round) {
                    std::uint32_t role = 0, available = 0, committed = 0, pages = 0;
                    if (WSManGetDomain(handle, text, sizeof text, err, sizeof err, &role) != QNSNWSM_OK ||
                        role != 1)
                        fail("domain");
                    if (WSManGetMemory(handle, &available, &committed, &pages, err, sizeof err) !=
                            QNSNWSM_OK ||
                        available == 0)
                        fail("memory");
                    if (WSManGetServiceList(handle, text, sizeof text, err, sizeof err) != QNSNWSM_OK ||
                        std::string(text).find("Spooler") == std::string::npos)
                        fail("services");
                }
                WSManDisconnectComputer(handle);
            }
            WSManShutdown(handle);
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(firstErrors[t], "") << "thread " << t;
}

}  // namespace
}  // namespace qn::e2e
