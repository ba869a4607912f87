// What the reliability tests add to the shared bench: client timeouts short enough that every fault costs
// seconds, and a bound on how long a failing call may take.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <string>

#include "ModuleBench.h"
#include "TestHttpServer.h"

// AddressSanitizer's quarantine keeps freed memory resident, so resident sizes say nothing under it (its
// leak checker covers leaks there).
#if defined(__SANITIZE_ADDRESS__)
#define QN_UNDER_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QN_UNDER_ASAN 1
#endif
#endif

namespace qn::reliability {

using namespace qntest;  // NOLINT: the suites are written against the shared bench

class Bench : public qntest::Bench {
  public:
    explicit Bench(Transport transport = Transport::BasicOverHttp, const std::string& clientSettings = {})
        : qntest::Bench(transport, "ConnectTimeoutMs=2000\nOperationTimeoutMs=1000\n" + clientSettings) {}
};

// The client's request timeout is OperationTimeoutMs (1 s here) plus a 30 s margin; every call must return
// well within that plus 10 s.
inline constexpr std::chrono::seconds kReturnsWithin{41};

inline std::size_t ResidentKilobytes() {
    std::size_t pages = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> pages >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

inline std::chrono::milliseconds Timed(const std::function<void()>& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

// A check on a handle whose connect failed says so instead of touching the network.
inline void ExpectSessionNotOpen(Bench& bench) {
    std::string list;
    EXPECT_EQ(bench.ServiceList(list), QNSNWSM_FAILURE);
    EXPECT_STREQ(bench.ErrorText(),
                 "WSMan session has not been opened yet, please check connection properties");
}

// Once the fault has passed, the same handle connects to the simulator, clears its error and reads.
inline void ExpectHandleRecovers(Bench& bench) {
    ASSERT_EQ(bench.ConnectToSim(), QNSNWSM_OK) << bench.ErrorText();
    EXPECT_STREQ(bench.ErrorText(), "");
    EXPECT_TRUE(bench.ReadsTheComputer()) << bench.ErrorText();
}

}  // namespace qn::reliability
