// Many handles on many threads at once, the way a host monitor drives the module: each thread owns its
// handle, connects with NTLM and sealed messages to one simulated computer and runs checks in a loop.
// Built with -fsanitize=thread in CI, so shared state between handles shows up as a data race.
#include <gtest/gtest.h>

#include "E2eSupport.h"
#include "qnsnwsm.h"

#if QN_HAVE_SIMULATOR

#include <atomic>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "server/SimServer.h"

namespace qn::e2e {
namespace {

TEST(ManyHandlesTest, IndependentHandlesOnSeparateThreadsAllSucceed) {
    ScratchFolder scratch;
    std::ofstream(scratch.File("registry.conf"))
        << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" << QN_SHARE_DIR << "/\n\n"
        << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nValidationClass=Win32_ComputerSystem\n"
        << "AuthScheme=NTLM\n";
    std::ofstream(scratch.File("users")) << "LAB:monitor:Many-Handles-1\n";
    qnsim::SimOptions options;
    options.profile = "workstation";
    options.usersFile = scratch.File("users").string();
    std::string error;
    const auto server = qnsim::StartSimServer(options, error);
    ASSERT_NE(server, nullptr) << error;

    constexpr int kThreads = 8;
    constexpr int kRounds = 3;
    std::atomic<int> failures{0};
    std::vector<std::string> firstErrors(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            QNSNWSM_HANDLE handle = nullptr;
            const std::string trace = scratch.File(("trace-" + std::to_string(t) + ".log").c_str()).string();
            if (WSManInitialize("many", trace.c_str(), &handle) != QNSNWSM_OK) {
                ++failures;
                return;
            }
            char text[1 << 16];
            char err[512];
            auto fail = [&](const char* what) {
                if (firstErrors[t].empty()) firstErrors[t] = std::string(what) + ": " + err;
                ++failures;
            };
            if (WSManConnectToComputer(handle, "127.0.0.1", "LAB\\monitor", "Many-Handles-1", "root/cimv2",
                                       server->Port(), 0, 0, err, sizeof err) != QNSNWSM_OK) {
                fail("connect");
            } else {
                for (int round = 0; round < kRounds; ++round) {
                    std::uint32_t role = 0, available = 0, committed = 0, pages = 0;
                    if (WSManGetDomain(handle, text, sizeof text, err, sizeof err, &role) != QNSNWSM_OK ||
                        role != 1)
                        fail("domain");
                    if (WSManGetMemory(handle, &available, &committed, &pages, err, sizeof err) != QNSNWSM_OK ||
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
    EXPECT_EQ(failures.load(), 0);
    for (int t = 0; t < kThreads; ++t) EXPECT_EQ(firstErrors[t], "") << "thread " << t;
}

}  // namespace
}  // namespace qn::e2e

#endif  // QN_HAVE_SIMULATOR
