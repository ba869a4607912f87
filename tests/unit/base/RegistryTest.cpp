#include <gtest/gtest.h>

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

    qntest::ScratchFolder folder_;
    std::string store_ = folder_.File("registry.conf");
    qntest::ScopedEnv registry_{"QNSNWSM_REGISTRY", store_};
};

TEST_F(RegistryTest, FolderGetsATrailingBackslashAndIsStoredBackSo) {
    Store("  /usr/share/qnsnwsm\t");
    CQncString folder;
    GetProgFilesFolder(folder);
    EXPECT_STREQ(folder.GetText(), "/usr/share/qnsnwsm\\");
    EXPECT_EQ(Stored(), "/usr/share/qnsnwsm\\");
    GetProgFilesFolder(folder);  // already normal: unchanged
    EXPECT_STREQ(folder.GetText(), "/usr/share/qnsnwsm\\");
}

TEST_F(RegistryTest, BlankMissingOrOverlongFolderReadsEmpty) {
    CQncString folder("stale");
    GetProgFilesFolder(folder);  // missing: stored empty
    EXPECT_STREQ(folder.GetText(), "");
    EXPECT_EQ(ReadFile(store_), "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=\n");
    Store("\"   \"");
    GetProgFilesFolder(folder);
    EXPECT_STREQ(folder.GetText(), "");
    EXPECT_EQ(Stored(), "");
    Store(std::string(511, 'a'));  // 512 bytes with the NUL, but only 511 may be asked for
    GetProgFilesFolder(folder);
    EXPECT_STREQ(folder.GetText(), "");
    Store(std::string(510, 'a'));
    GetProgFilesFolder(folder);
    EXPECT_EQ(folder.Length(), 511u);
}

TEST_F(RegistryTest, ReadOnlyStoreStillGivesTheNormalisedFolder) {
    Store("/opt/qn");
    const std::string before = ReadFile(store_);
    const int result = qntest::RunWithReadOnlyFile(folder_.Path(), store_, [] {
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
