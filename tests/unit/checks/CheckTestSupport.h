// Shared setup of the check tests: the scripted WinRM client answering each WQL query with canned items
// written as Windows renders instances, a clock that only moves when the module sleeps, the installation's
// stylesheets through a private configuration store, and a connected module object.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FakeWsman.h"
#include "Instances.h"
#include "TestFiles.h"
#include "base/QncList.h"
#include "engine/CQnWSMan.h"
#include "platform/Clock.h"

namespace qn::checks_test {

using qn::platform::HResult;
using Numbers = std::vector<std::uint32_t>;

inline std::string Instance(const std::string& className, const qntest::Properties& properties,
                            const std::string& wmiNamespace = "root/cimv2") {
    return qntest::RenderInstance(className, properties, wmiNamespace);
}

// Ticks move only when the module sleeps (plus an optional step per reading).
class FakeClock final : public qn::platform::Clock {
  public:
    qn::platform::TimeOfDay LocalTimeOfDay() override { return {}; }
    std::uint32_t TickCount() override {
        const std::uint32_t now = ticks;
        ticks += stepPerRead;
        return now;
    }
    void Sleep(std::uint32_t milliseconds) override {
        sleeps.push_back(milliseconds);
        ticks += milliseconds;
    }

    std::uint32_t ticks = 1000;
    std::uint32_t stepPerRead = 0;
    std::vector<std::uint32_t> sleeps;
};

// Entries of a list a check filled.
std::vector<std::string> Entries(const CQncListString& list);

// Each test starts with a module connected to root/cimv2.
class CheckTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // A module connected to the fake client in `wmiNamespace`; the queries of the connect are forgotten.
    CQnWSMan& Connect(const char* wmiNamespace = "root/cimv2");
    CQnWSMan& Module() { return *module_; }
    qntest::FakeWsmanScript& Fake() { return qntest::Script(); }
    FakeClock& Clock() { return clock_; }
    // Points the configuration store's program folder elsewhere (the stylesheets are looked up there).
    void SetProgramFolder(const std::string& folder);
    // The trace messages without their time stamps.
    std::vector<std::string> TraceLines() const {
        return qntest::ReadTraceMessages(scratch_.File("trace.log"));
    }
    bool Traced(const std::string& message) const { return qntest::HasLine(TraceLines(), message); }

    CQncString error;  // for the checks' error text

  private:
    qntest::ScratchStore scratch_;
    std::unique_ptr<CQnWSMan> module_;
    FakeClock clock_;
};

}  // namespace qn::checks_test
