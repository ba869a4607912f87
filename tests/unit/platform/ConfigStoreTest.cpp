// The configuration store: registry-like INI files that people edit by hand; the module's own state file is
// rewritten atomically under a lock. (Layers and a store that may not be written: tests/unit/base
// RegistryTest.)
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "TestFiles.h"
#include "platform/ConfigStore.h"

namespace qn::platform {
namespace {

using qntest::ReadFile;

constexpr const char* kProductKey = "Software\\Quillon\\Sentrel";

class ConfigStoreTest : public ::testing::Test {
  protected:
    static std::string Query(const char* subKey, const char* name, ConfigError* errorOut = nullptr) {
        ConfigKey key;
        ConfigError error = OpenConfigKey(ConfigRoot::LocalMachine, subKey, kKeyRead, key);
        char buffer[512] = {};
        std::uint32_t size = sizeof(buffer) - 1;
        if (error == kConfigOk) error = QueryConfigString(key, name, buffer, size);
        if (errorOut != nullptr) *errorOut = error;
        return buffer;
    }
    static ConfigError Set(const char* subKey, const char* name, const std::string& value) {
        ConfigKey key;
        const ConfigError error = CreateConfigKey(ConfigRoot::LocalMachine, subKey, kKeyAllAccess, key);
        return error != kConfigOk
                   ? error
                   : SetConfigString(key, name, value.c_str(), static_cast<std::uint32_t>(value.size() + 1));
    }
    ino_t Inode() const {
        struct stat status {};
        EXPECT_EQ(stat(store_.StatePath().c_str(), &status), 0);
        return status.st_ino;
    }

    qntest::ScratchStore store_;
};

TEST_F(ConfigStoreTest, MissingFileThenAHandEditedOneReadWithoutRegardToCase) {
    ConfigKey key;
    EXPECT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyRead, key), kConfigNotFound);
    EXPECT_FALSE(key.IsOpen());
    store_.WriteStore(
        "; machine settings\n[hkey_local_machine\\SOFTWARE\\quillon\\Sentrel]\nProgFilesFolder = "
        "/opt/qn\\\n\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\nValidationClass=Win32_"
        "OperatingSystem\n");
    EXPECT_EQ(Query(kProductKey, "progfilesfolder"), "/opt/qn\\");
    EXPECT_EQ(Query("Software\\Quillon\\Sentrel\\Server\\WinRM", "VALIDATIONCLASS"), "Win32_OperatingSystem");
    // A parent of a listed key exists, like in the registry.
    EXPECT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, "Software\\Quillon", kKeyRead, key), kConfigOk);
    ConfigError error = kConfigOk;
    Query(kProductKey, "Missing", &error);
    EXPECT_EQ(error, kConfigNotFound);
}

TEST_F(ConfigStoreTest, WritesReplaceTheStateFileWholeAndKeepWhatOthersWrote) {
    store_.Write(
        "state.conf",
        "; keep me\n[HKEY_LOCAL_MACHINE\\Software\\Other]\nName=value\n# and me\n"
        "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder = /opt/qn\\\nKeep=this\n");
    // The module writes back every value it reads; an unchanged value must not rewrite the file (hand
    // edits in the same second, file watchers, a locked rewrite per read).
    const ino_t before = Inode();
    ASSERT_EQ(Set(kProductKey, "progfilesfolder", "/opt/qn\\"), kConfigOk);
    EXPECT_EQ(Inode(), before);

    ASSERT_EQ(Set(kProductKey, "PROGFILESFOLDER", "new"), kConfigOk);
    // Replaced by a rename, so a reader sees the old file or the new one, never a part.
    EXPECT_NE(Inode(), before);
    ASSERT_EQ(Set(kProductKey, "Added", "x"), kConfigOk);
    EXPECT_EQ(ReadFile(store_.StatePath()),
              "; keep me\n[HKEY_LOCAL_MACHINE\\Software\\Other]\nName=value\n# and me\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nPROGFILESFOLDER=new\nKeep=this\nAdded=x\n");
    // Nothing left beside the state file: no temporary file, no lock file.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(store_.Path()), {}), 1);
}

TEST_F(ConfigStoreTest, ValuesRoundTripAndQueriesFollowTheBufferRules) {
    for (const std::string value : {" lead", "trail\t", "two\r\nlines", "\"quoted\"", "c:\\path\\", ""}) {
        ASSERT_EQ(Set(kProductKey, "Value", value), kConfigOk);
        EXPECT_EQ(Query(kProductKey, "Value"), value);
    }
    ASSERT_EQ(Set(kProductKey, "Value", "abcdef"), kConfigOk);
    ConfigKey key;
    ASSERT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyRead, key), kConfigOk);
    char buffer[8] = "zzzzzzz";
    std::uint32_t size = 6;
    EXPECT_EQ(QueryConfigString(key, "Value", buffer, size), kConfigMoreData);
    EXPECT_EQ(size, 7u);
    EXPECT_STREQ(buffer, "zzzzzzz");
    EXPECT_EQ(QueryConfigString(key, "Value", buffer, size), kConfigOk);
    EXPECT_STREQ(buffer, "abcdef");
    EXPECT_EQ(SetConfigString(key, "Value", "x", 2), kConfigAccessDenied) << "a key opened for reading";
}

TEST_F(ConfigStoreTest, ConcurrentWritersFromTwoProcessesLoseNothing) {
    constexpr int kWritesPerProcess = 40;
    const auto writeValues = [&](const std::string& prefix) {
        for (int i = 0; i < kWritesPerProcess; ++i) {
            const std::string name = prefix + std::to_string(i);
            if (Set(kProductKey, name.c_str(), name) != kConfigOk) return 1;
        }
        return 0;
    };
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) _exit(writeValues("child"));
    const int parentResult = writeValues("parent");
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(parentResult == 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0);
    for (int i = 0; i < kWritesPerProcess; ++i) {
        for (const std::string prefix : {"child", "parent"}) {
            EXPECT_EQ(Query(kProductKey, (prefix + std::to_string(i)).c_str()), prefix + std::to_string(i));
        }
    }
}

}  // namespace
}  // namespace qn::platform
