// Shared setup of the check tests: a WinRM client that answers each WQL query with canned items written as
// Windows renders instances, a clock that only moves when the module sleeps, the installation's stylesheets
// through a private configuration store, and a connected module object.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/CQnWSMan.h"
#include "platform/Clock.h"
#include "platform/WsmanAutomation.h"

namespace qn::checks_test {

using qn::platform::HResult;

// One property of a canned instance; no value renders as xsi:nil.
struct Property {
    std::string name;
    std::optional<std::string> value;
};

// <p:Class xmlns:p=".../wmi/root/cimv2/Class" ... xsi:type="p:Class_Type"><p:Name>...</p:Name>...</p:Class>
std::string Instance(const std::string& className, const std::vector<Property>& properties,
                     const std::string& wmiNamespace = "root/cimv2");

struct Reply {
    HResult result = qn::platform::kOk;
    std::vector<std::string> items;
};

struct Invocation {
    std::string action;
    std::string resourceUri;
    std::string parameters;
};

// What the fake client answers and what it was asked. Replies are looked up by the exact WQL text; a
// query may have a sequence of replies (the last one repeats). Unknown queries get an empty result.
struct FakeServer {
    std::map<std::string, std::deque<Reply>> replies;
    std::vector<std::string> queries;
    std::vector<std::string> resourceUris;
    std::vector<Invocation> invocations;
    std::map<std::string, std::pair<HResult, std::string>> invokeReplies;  // by action

    // Every later "select * from <className>" answers with these items.
    void Answer(const std::string& className, std::vector<std::string> items);
    // The same for a whole WQL text.
    void AnswerQuery(const std::string& wql, std::vector<std::string> items);
    // Appends one more reply to the sequence of "select * from <className>".
    void AnswerNext(const std::string& className, std::vector<std::string> items);
    void Fail(const std::string& className, HResult code);
    void AnswerInvoke(const std::string& action, HResult result, std::string response);
    int CountQueries(const std::string& wql) const;
};

FakeServer& Server();

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

class CheckTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // A module connected to the fake client in `wmiNamespace`; the queries of the connect are forgotten.
    CQnWSMan& Connect(const char* wmiNamespace = "root/cimv2");
    CQnWSMan& Module() { return *module_; }
    FakeServer& Fake() { return Server(); }
    FakeClock& Clock() { return clock_; }
    // Points the configuration store's program folder elsewhere (the stylesheets are looked up there).
    void SetProgramFolder(const std::string& folder);
    // The trace messages without their time stamps.
    std::vector<std::string> TraceLines() const;
    bool Traced(const std::string& message) const;

  private:
    std::filesystem::path folder_;
    std::filesystem::path traceFile_;
    std::filesystem::path registryFile_;
    std::optional<std::string> savedRegistry_;
    std::unique_ptr<CQnWSMan> module_;
    FakeClock clock_;
};

}  // namespace qn::checks_test
