#include "EngineTestSupport.h"

#include <cstdlib>
#include <fstream>
#include <regex>

namespace qn::test {

std::vector<std::string> ReadTraceMessages(const std::filesystem::path& file) {
    static const std::regex stamp(R"(^\[\d\d:\d\d:\d\d\] )");
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(std::regex_replace(line, stamp, "", std::regex_constants::format_first_only));
    }
    return lines;
}

bool ContainsLine(const std::vector<std::string>& lines, const std::string& line) {
    for (const auto& candidate : lines) {
        if (candidate == line) return true;
    }
    return false;
}

bool ContainsText(const std::vector<std::string>& lines, const std::string& text) {
    for (const auto& candidate : lines) {
        if (candidate.find(text) != std::string::npos) return true;
    }
    return false;
}

void EngineTest::SetUp() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-engine-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
    traceFile_ = folder_ / "trace.log";
    registryFile_ = folder_ / "registry.conf";
    if (const char* current = std::getenv("QNSNWSM_REGISTRY")) {
        hadRegistry_ = true;
        savedRegistry_ = current;
    }
    setenv("QNSNWSM_REGISTRY", registryFile_.c_str(), 1);
    ResetScript();
    InstallFakeWsman();
}

void EngineTest::TearDown() {
    UninstallFakeWsman();
    if (hadRegistry_) {
        setenv("QNSNWSM_REGISTRY", savedRegistry_.c_str(), 1);
    } else {
        unsetenv("QNSNWSM_REGISTRY");
    }
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::unique_ptr<CQnWSMan> EngineTest::MakeInitializedModule() {
    auto module = std::make_unique<CQnWSMan>("engine-test");
    EXPECT_EQ(module->Initialize(traceFile_.c_str()), 0u);
    return module;
}

std::unique_ptr<CQnWSMan> EngineTest::MakeConnectedModule(const char* wmiNamespace) {
    auto module = MakeInitializedModule();
    module->SetNamespace(wmiNamespace);
    CQncString error;
    EXPECT_EQ(module->OpenSession("pc1", 5985, error), 0u) << error.GetText();
    return module;
}

void EngineTest::WriteRegistry(const std::string& text) const {
    std::ofstream out(registryFile_, std::ios::trunc);
    out << text;
}

}  // namespace qn::test
