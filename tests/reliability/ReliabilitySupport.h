// What the reliability tests add to the shared bench: client timeouts short enough that every fault costs
// seconds, and measurements of time, file descriptors and memory.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "ModuleBench.h"
#include "TestHttpServer.h"

namespace qn::reliability {

using qntest::ClosedLoopbackPort;
using qntest::ExpectedServiceList;
using qntest::kPassword;
using qntest::kUser;
using qntest::SilentListener;
using qntest::SimSetup;
using qntest::Transport;
using qntest::WinrmErrorText;

class Bench : public qntest::Bench {
  public:
    explicit Bench(Transport transport = Transport::BasicOverHttp, const std::string& clientSettings = {})
        : qntest::Bench(transport, "ConnectTimeoutMs=2000\nOperationTimeoutMs=1000\n" + clientSettings) {}
};

// Runs `call` and returns how long it took.
std::chrono::milliseconds Timed(const std::function<void()>& call);

// Open file descriptors and resident memory of this process.
std::size_t OpenFileDescriptors();
std::size_t ResidentKilobytes();

}  // namespace qn::reliability
