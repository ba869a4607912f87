// Shared setup of the engine tests: a fake WinRM client, a private configuration store and trace file in a
// temporary folder, and the trace read back as messages without their time stamps.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "FakeWsman.h"
#include "engine/CQnWSMan.h"

namespace qn::test {

// The trace file's lines with the leading "[hh:mm:ss] " removed (banner continuation lines stay whole).
std::vector<std::string> ReadTraceMessages(const std::filesystem::path& file);
bool ContainsLine(const std::vector<std::string>& lines, const std::string& line);
// True when any line contains `text` anywhere.
bool ContainsText(const std::vector<std::string>& lines, const std::string& text);

class EngineTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    // A module initialised with the fake client and tracing to TraceFile().
    std::unique_ptr<CQnWSMan> MakeInitializedModule();
    // A module with an open session to `wmiNamespace` (no validation unless the namespace asks for it).
    std::unique_ptr<CQnWSMan> MakeConnectedModule(const char* wmiNamespace = "root/default");

    std::vector<std::string> Trace() const { return ReadTraceMessages(traceFile_); }
    const std::filesystem::path& TraceFile() const { return traceFile_; }
    const std::filesystem::path& RegistryFile() const { return registryFile_; }
    void WriteRegistry(const std::string& text) const;

  private:
    std::filesystem::path folder_;
    std::filesystem::path traceFile_;
    std::filesystem::path registryFile_;
    std::string savedRegistry_;
    bool hadRegistry_ = false;
};

}  // namespace qn::test
