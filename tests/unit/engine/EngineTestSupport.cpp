#include "EngineTestSupport.h"

#include <algorithm>

namespace qn::test {

bool ContainsText(const std::vector<std::string>& lines, const std::string& text) {
    return std::any_of(lines.begin(), lines.end(),
                       [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

void EngineTest::SetUp() {
    ResetScript();
    qntest::InstallFakeWsman();
}

std::unique_ptr<CQnWSMan> EngineTest::MakeInitializedModule() {
    auto module = std::make_unique<CQnWSMan>("engine-test");
    EXPECT_EQ(module->Initialize(TraceFile().c_str()), 0u);
    return module;
}

std::unique_ptr<CQnWSMan> EngineTest::MakeConnectedModule(const char* wmiNamespace) {
    auto module = MakeInitializedModule();
    module->SetNamespace(wmiNamespace);
    CQncString error;
    EXPECT_EQ(module->OpenSession("pc1", 5985, error), 0u) << error.GetText();
    return module;
}

}  // namespace qn::test
