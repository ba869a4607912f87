// The engine tests' scripted WinRM client, private configuration store and trace file.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FakeWsman.h"
#include "TestFiles.h"
#include "engine/CQnWSMan.h"

namespace qn::test {

using qn::platform::ToHResult;
using qntest::FakeWsmanScript;
using qntest::HasLine;
using qntest::ResetScript;
using qntest::Script;

class EngineTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ResetScript();
        qntest::InstallFakeWsman();
    }
    void TearDown() override { qntest::UninstallFakeWsman(); }

    // A module initialised with the fake client and tracing to TraceFile().
    std::unique_ptr<CQnWSMan> MakeInitializedModule() {
        auto module = std::make_unique<CQnWSMan>("engine-test");
        EXPECT_EQ(module->Initialize(TraceFile().c_str()), 0u);
        return module;
    }
    // A module with an open session to `wmiNamespace` (no validation unless the namespace asks for it).
    std::unique_ptr<CQnWSMan> MakeConnectedModule(const char* wmiNamespace = "root/default") {
        auto module = MakeInitializedModule();
        module->SetNamespace(wmiNamespace);
        EXPECT_EQ(module->OpenSession("pc1", 5985, error), 0u) << error.GetText();
        return module;
    }

    std::vector<std::string> Trace() const { return qntest::ReadTraceMessages(TraceFile()); }
    std::string TraceFile() const { return scratch_.File("trace.log"); }

    CQncString error, response;
    ItemList items;

  private:
    qntest::ScratchStore scratch_;
};

}  // namespace qn::test
