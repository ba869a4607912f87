#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "TestFiles.h"
#include "base/QncRegistry.h"
#include "wsman/core/ConfigurationKeys.h"

namespace {

using qntest::ReadFile;
using qntest::WriteFile;

class RegistryTest : public ::testing::Test {
  protected:
    void Store(const std::string& value) {
        WriteFile(store_,
                  "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" + value + "\n");
    }
    std::string Stored() {
        CQncString value;
        QueryRegistryString(kHkeyLocalMachine, wsman::config::kProductKey, wsman::config::kProgFilesFolder,
                            value);
        return value.GetText();
    }

    qntest::ScratchStore folder_;
    std::string store_ = folder_.StorePath();
};

TEST_F(RegistryTest, BlankMissingOrOverlongFolderIsTheInstalledDataFolder) {
    const std::string installed = qn::platform::DefaultProgramFolder() + "\\";
    CQncString folder("stale");
    GetProgFilesFolder(folder);  // missing: stored empty in the state file, the administrator's untouched
    EXPECT_EQ(folder.GetText(), installed);
    EXPECT_FALSE(std::filesystem::exists(store_));
    EXPECT_EQ(ReadFile(folder_.StatePath()),
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=\n");
    Store("\"   \"");
    GetProgFilesFolder(folder);
    EXPECT_EQ(folder.GetText(), installed);
    EXPECT_EQ(Stored(), "   ") << "the administrator's value wins over the state file's";
    Store(std::string(511, 'a'));  // 512 bytes with the NUL, but only 511 may be asked for
    GetProgFilesFolder(folder);
    EXPECT_EQ(folder.GetText(), installed);
    Store(std::string(510, 'a'));
    GetProgFilesFolder(folder);
    EXPECT_EQ(folder.Length(), 511u);
}

// A read-only check: the folder, trimmed and with a trailing backslash, and the module's other write-backs
// go to the state file, the administrator's file keeps every byte, and an edit there still takes effect over
// an earlier write-back.
TEST_F(RegistryTest, WriteBacksGoToTheStateFileUnderTheAdministratorsFile) {
    Store("  /opt/qn\t");
    const std::string administrators = ReadFile(store_);
    CQncString folder;
    GetProgFilesFolder(folder);
    EXPECT_STREQ(folder.GetText(), "/opt/qn\\");
    const char* winrm = "Software\\Quillon\\Sentrel\\Server\\WinRM";
    ASSERT_EQ(EnsureRegistryKey(kHkeyLocalMachine, winrm), 1);
    ASSERT_EQ(SetRegistryString(kHkeyLocalMachine, winrm, "ValidationClass", "Win32_ComputerSystem"), 0);
    EXPECT_EQ(ReadFile(store_), administrators);
    EXPECT_EQ(ReadFile(folder_.StatePath()),
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=/opt/qn\\\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
              "ValidationClass=Win32_ComputerSystem\n");
    CQncString validation;
    QueryRegistryString(kHkeyLocalMachine, winrm, "ValidationClass", validation);
    EXPECT_STREQ(validation.GetText(), "Win32_ComputerSystem");
    Store("/srv/qn");
    GetProgFilesFolder(folder);
    EXPECT_STREQ(folder.GetText(), "/srv/qn\\");
}

TEST_F(RegistryTest, ReadOnlyStoreStillGivesTheNormalisedFolder) {
    Store("/opt/qn");
    const std::string before = ReadFile(store_);
    qntest::WriteFile(folder_.StatePath(), "");
    const int result = qntest::RunWithReadOnlyFile(folder_.Path(), folder_.StatePath(), [] {
        CQncString folder;
        GetProgFilesFolder(folder);
        if (std::string(folder.GetText()) != "/opt/qn\\") return 1;
        if (EnsureRegistryKey(kHkeyLocalMachine, "Software\\New") != 0) return 2;
        return SetRegistryString(kHkeyLocalMachine, wsman::config::kProductKey,
                                 wsman::config::kProgFilesFolder, "x") != -1
                   ? 3
                   : 0;
    });
    if (result == -1) GTEST_SKIP() << "cannot make the store read-only for this process";
    EXPECT_EQ(result, 0);
    EXPECT_EQ(ReadFile(store_), before);
}

}  // namespace
