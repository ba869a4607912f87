// The validation class in the configuration store, and the access check that reads it.
#include <string>

#include "EngineTestSupport.h"
#include "base/QncRegistry.h"

namespace qn::test {
namespace {

constexpr const char* kKey = "Software\\Quillon\\Sentrel\\Server\\WinRM";

class ValidationTest : public EngineTest {
  protected:
    std::string StoredClass() {
        CQncString stored;
        EXPECT_EQ(QueryRegistryString(kHkeyLocalMachine, kKey, "ValidationClass", stored), 0);
        return stored.GetText();
    }
    static void StoreClass(const char* value) {
        ASSERT_EQ(EnsureRegistryKey(kHkeyLocalMachine, kKey), 1);
        ASSERT_EQ(SetRegistryString(kHkeyLocalMachine, kKey, "ValidationClass", value), 0);
    }
    CQncString error;
};

TEST_F(ValidationTest, MissingStoreGivesDefaultAndStoresIt) {
    auto module = MakeInitializedModule();
    CQncString value("stale");
    module->ReadValidationClass(value);
    EXPECT_STREQ(value.GetText(), "Win32_ComputerSystem");
    EXPECT_EQ(StoredClass(), "Win32_ComputerSystem");
}

TEST_F(ValidationTest, StoredValueIsTrimmedAndWrittenBackTrimmed) {
    StoreClass(" \tWin32_BIOS\r\n");
    auto module = MakeInitializedModule();
    CQncString value;
    module->ReadValidationClass(value);
    EXPECT_STREQ(value.GetText(), "Win32_BIOS");
    EXPECT_EQ(StoredClass(), "Win32_BIOS");
}

TEST_F(ValidationTest, EmptyClassSkipsTheCheck) {
    StoreClass("  ");
    auto module = MakeConnectedModule();
    Script().enumerations.clear();
    error = "stale";
    EXPECT_EQ(module->WinRMValidateAccess(error), 0);
    EXPECT_TRUE(Script().enumerations.empty());
    EXPECT_EQ(Trace().back(), "Skipped WinRMValidateAccess, no validationclass specified in registry.");
}

TEST_F(ValidationTest, ClassWithABlankRunsAsAWholeQuery) {
    StoreClass("select Name from Win32_OperatingSystem");
    auto module = MakeConnectedModule();
    Script().enumerations.clear();
    EXPECT_EQ(module->WinRMValidateAccess(error), 0);
    ASSERT_EQ(Script().enumerations.size(), 1u);
    EXPECT_EQ(Script().enumerations[0].filter, "select Name from Win32_OperatingSystem");
    const auto lines = Trace();
    EXPECT_TRUE(ContainsLine(
        lines,
        "Calling WinRMValidateAccess using validation class [select Name from Win32_OperatingSystem]..."));
    EXPECT_EQ(lines.back(), "WinRMValidateAccess completed.");
}

TEST_F(ValidationTest, FailureKeepsTheEnumerationText) {
    auto module = MakeConnectedModule();
    Script().defaultEnumeration.result = qn::platform::ToHResult(0x80070005);
    EXPECT_EQ(module->WinRMValidateAccess(error), -1);
    EXPECT_STREQ(error.GetText(), "WMI/WinRM Error 0x80070005: Access is denied");
    EXPECT_EQ(Trace().back(), "WinRMValidateAccess failed.");
}

}  // namespace
}  // namespace qn::test
