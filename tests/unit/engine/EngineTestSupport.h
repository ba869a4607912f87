// Shared setup of the engine tests: the scripted WinRM client, and a private configuration store and trace
// file in a scratch folder.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "FakeWsman.h"
#include "TestFiles.h"
#include "engine/CQnWSMan.h"

namespace qn::test {

using qntest::FakeWsmanScript;
using qntest::ResetScript;
using qntest::Script;

inline bool ContainsLine(const std::vector<std::string>& lines, const std::string& line) {
    return qntest::HasLine(lines, line);
}
// True when any line contains `text` anywhere.
bool ContainsText(const std::vector<std::string>& lines, const std::string& text);

class EngineTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override { qntest::UninstallFakeWsman(); }

    // A module initialised with the fake client and tracing to TraceFile().
    std::unique_ptr<CQnWSMan> MakeInitializedModule();
    // A module with an open session to `wmiNamespace` (no validation unless the namespace asks for it).
    std::unique_ptr<CQnWSMan> MakeConnectedModule(const char* wmiNamespace = "root/default");

    std::vector<std::string> Trace() const { return qntest::ReadTraceMessages(TraceFile()); }
    std::string TraceFile() const { return scratch_.File("trace.log"); }

  private:
    qntest::ScratchStore scratch_;
};

}  // namespace qn::test
