#include "CheckTestSupport.h"

namespace qn::checks_test {

std::vector<std::string> Entries(const CQncListString& list) {
    std::vector<std::string> entries;
    for (const CQncListNode* node = list.GetHead(); node != nullptr; node = node->next) {
        entries.emplace_back(static_cast<const CQnsString*>(node->item)->text.GetText());
    }
    return entries;
}

void CheckTest::SetUp() {
    SetProgramFolder(std::string(QN_DATA_SOURCE_DIR) + "/");
    qntest::ResetScript();
    qntest::InstallFakeWsman();
    qn::platform::SetClock(&clock_);
    Connect();
}

void CheckTest::TearDown() {
    module_.reset();
    qn::platform::SetClock(nullptr);
    qntest::UninstallFakeWsman();
}

void CheckTest::SetProgramFolder(const std::string& folder) {
    scratch_.WriteStore("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" + folder + "\n");
}

CQnWSMan& CheckTest::Connect(const char* wmiNamespace) {
    module_ = std::make_unique<CQnWSMan>("checks-test");
    EXPECT_EQ(module_->Initialize(scratch_.File("trace.log").c_str()), 0u);
    module_->SetNamespace(wmiNamespace);
    CQncString error;
    EXPECT_EQ(module_->OpenSession("pc1", 5985, error), 0u) << error.GetText();
    Fake().enumerations.clear();
    return *module_;
}

}  // namespace qn::checks_test
