// The check tests' scripted WinRM client (canned items rendered as Windows does), a clock that moves only
// when the module sleeps, the installation's stylesheets and a connected module object.
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

using qn::platform::ToHResult;
using Numbers = std::vector<std::uint32_t>;

inline std::string Instance(const std::string& className, const qntest::Properties& properties,
                            const std::string& wmiNamespace = "root/cimv2") {
    return qntest::RenderInstance(className, properties, wmiNamespace);
}

inline std::vector<std::string> Entries(const CQncListString& list) {
    std::vector<std::string> entries;
    for (const CQncListNode* node = list.GetHead(); node != nullptr; node = node->next)
        entries.emplace_back(static_cast<const CQnsString*>(node->item)->text.GetText());
    return entries;
}

class FakeClock final : public qn::platform::Clock {
  public:
    qn::platform::TimeOfDay LocalTimeOfDay() override { return {}; }
    std::uint32_t TickCount() override { return ticks; }
    void Sleep(std::uint32_t milliseconds) override {
        sleeps.push_back(milliseconds);
        ticks += milliseconds;
    }
    std::uint32_t ticks = 1000;
    std::vector<std::uint32_t> sleeps;
};

class CheckTest : public ::testing::Test {
  protected:
    void SetUp() override {
        scratch_.WriteStore("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" +
                            std::string(QN_DATA_SOURCE_DIR) + "/\n");
        qntest::ResetScript();
        qntest::InstallFakeWsman();
        qn::platform::SetClock(&clock_);
        Connect();
    }
    void TearDown() override {
        module_.reset();
        qn::platform::SetClock(nullptr);
        qntest::UninstallFakeWsman();
    }

    // A module connected to the fake client in `wmiNamespace`; the queries of the connect are forgotten.
    void Connect(const char* wmiNamespace = "root/cimv2") {
        module_ = std::make_unique<CQnWSMan>("checks-test");
        EXPECT_EQ(module_->Initialize(scratch_.File("trace.log").c_str()), 0u);
        module_->SetNamespace(wmiNamespace);
        EXPECT_EQ(module_->OpenSession("pc1", 5985, error), 0u) << error.GetText();
        Fake().enumerations.clear();
    }
    CQnWSMan& Module() { return *module_; }
    qntest::FakeWsmanScript& Fake() { return qntest::Script(); }
    FakeClock& Clock() { return clock_; }
    std::vector<std::string> TraceLines() const {
        return qntest::ReadTraceMessages(scratch_.File("trace.log"));
    }
    bool Traced(const std::string& message) const { return qntest::HasLine(TraceLines(), message); }

    CQncString error;

  private:
    qntest::ScratchStore scratch_;
    std::unique_ptr<CQnWSMan> module_;
    FakeClock clock_;
};

}  // namespace qn::checks_test
