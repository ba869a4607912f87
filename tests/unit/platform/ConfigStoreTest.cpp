#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "TestFiles.h"
#include "platform/ConfigStore.h"

namespace qn::platform {
namespace {

using qntest::ReadFile;
using qntest::WriteFile;

constexpr const char* kProductKey = "Software\\Quillon\\Sentrel";

class ConfigStoreTest : public ::testing::Test {
  protected:
    std::string StorePath() const { return folder_.File("registry.conf"); }

    std::string Query(const char* subKey, const char* name, ConfigError* errorOut = nullptr) {
        ConfigKey key;
        ConfigError error = OpenConfigKey(ConfigRoot::LocalMachine, subKey, kKeyRead, key);
        char buffer[512] = {};
        std::uint32_t size = sizeof(buffer) - 1;
        if (error == kConfigOk) error = QueryConfigString(key, name, buffer, size);
        if (errorOut != nullptr) *errorOut = error;
        return buffer;
    }

    ConfigError Set(const char* subKey, const char* name, const std::string& value) {
        ConfigKey key;
        ConfigError error = CreateConfigKey(ConfigRoot::LocalMachine, subKey, kKeyAllAccess, key);
        if (error != kConfigOk) return error;
        return SetConfigString(key, name, value.c_str(), static_cast<std::uint32_t>(value.size() + 1));
    }

    qntest::ScratchFolder folder_;
    qntest::ScopedEnv registry_{"QNSNWSM_REGISTRY", StorePath()};
};

TEST_F(ConfigStoreTest, MissingFileHasNoKeysAndCreatingAKeyCreatesIt) {
    ConfigKey key;
    EXPECT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyRead, key), kConfigNotFound);
    EXPECT_FALSE(key.IsOpen());
    ASSERT_EQ(CreateConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyAllAccess, key), kConfigOk);
    EXPECT_TRUE(key.IsOpen());
    EXPECT_NE(ReadFile(StorePath()).find("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]"),
              std::string::npos);
    EXPECT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyRead, key), kConfigOk);
}

TEST_F(ConfigStoreTest, ReadsHandEditedFileWithoutRegardToCase) {
    WriteFile(StorePath(),
              "; machine settings\n"
              "[hkey_local_machine\\SOFTWARE\\quillon\\Sentrel]\n"
              "ProgFilesFolder = /opt/qn\\\n"
              "\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
              "ValidationClass=Win32_OperatingSystem\n");
    EXPECT_EQ(Query(kProductKey, "progfilesfolder"), "/opt/qn\\");
    EXPECT_EQ(Query("Software\\Quillon\\Sentrel\\Server\\WinRM", "VALIDATIONCLASS"), "Win32_OperatingSystem");
    // A parent of a listed key exists, like in the registry.
    ConfigKey key;
    EXPECT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, "Software\\Quillon", kKeyRead, key), kConfigOk);
    ConfigError error = kConfigOk;
    Query(kProductKey, "Missing", &error);
    EXPECT_EQ(error, kConfigNotFound);
}

TEST_F(ConfigStoreTest, WriteKeepsCommentsOtherKeysAndValues) {
    WriteFile(StorePath(),
              "; keep me\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Other]\n"
              "Name=value\n"
              "# and me\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\n"
              "ProgFilesFolder=old\n"
              "Keep=this\n");
    ASSERT_EQ(Set(kProductKey, "PROGFILESFOLDER", "new"), kConfigOk);
    ASSERT_EQ(Set(kProductKey, "Added", "x"), kConfigOk);
    EXPECT_EQ(ReadFile(StorePath()),
              "; keep me\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Other]\n"
              "Name=value\n"
              "# and me\n"
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\n"
              "PROGFILESFOLDER=new\n"
              "Keep=this\n"
              "Added=x\n");
}

TEST_F(ConfigStoreTest, WritingTheStoredValueAgainLeavesTheFileAlone) {
    // The module writes back every value it reads; an unchanged value must not rewrite the file
    // (hand edits in the same second, file watchers, and the cost of a locked rewrite per read).
    WriteFile(StorePath(),
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\n"
              "ProgFilesFolder = /opt/qn\\\n");
    struct stat before {};
    ASSERT_EQ(stat(StorePath().c_str(), &before), 0);
    ASSERT_EQ(Set(kProductKey, "progfilesfolder", "/opt/qn\\"), kConfigOk);
    struct stat after {};
    ASSERT_EQ(stat(StorePath().c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(ReadFile(StorePath()),
              "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder = /opt/qn\\\n");
    ASSERT_EQ(Set(kProductKey, "ProgFilesFolder", "/opt/other\\"), kConfigOk);
    EXPECT_EQ(Query(kProductKey, "ProgFilesFolder"), "/opt/other\\");
}

TEST_F(ConfigStoreTest, ValuesWithBlanksAndBreaksRoundTrip) {
    for (const std::string value :
         {"   ", " lead", "trail\t", "two\r\nlines", "\"quoted\"", "c:\\path\\", ""}) {
        ASSERT_EQ(Set(kProductKey, "Value", value), kConfigOk);
        EXPECT_EQ(Query(kProductKey, "Value"), value);
    }
}

TEST_F(ConfigStoreTest, QueryFollowsBufferSizeRules) {
    ASSERT_EQ(Set(kProductKey, "Value", "abcdef"), kConfigOk);
    ConfigKey key;
    ASSERT_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kProductKey, kKeyRead, key), kConfigOk);
    char buffer[8] = "zzzzzzz";
    std::uint32_t size = 6;
    EXPECT_EQ(QueryConfigString(key, "Value", buffer, size), kConfigMoreData);
    EXPECT_EQ(size, 7u);
    EXPECT_STREQ(buffer, "zzzzzzz");
    size = 7;
    EXPECT_EQ(QueryConfigString(key, "Value", buffer, size), kConfigOk);
    EXPECT_STREQ(buffer, "abcdef");
    // A key opened for reading cannot write.
    EXPECT_EQ(SetConfigString(key, "Value", "x", 2), kConfigAccessDenied);
}

TEST_F(ConfigStoreTest, ConcurrentWritersFromTwoProcessesLoseNothing) {
    constexpr int kWritesPerProcess = 40;
    const auto writeValues = [&](const char* prefix) {
        for (int i = 0; i < kWritesPerProcess; ++i) {
            const std::string name = std::string(prefix) + std::to_string(i);
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
    ASSERT_EQ(parentResult, 0);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    for (int i = 0; i < kWritesPerProcess; ++i) {
        for (const std::string prefix : {"child", "parent"}) {
            const std::string name = prefix + std::to_string(i);
            EXPECT_EQ(Query(kProductKey, name.c_str()), name);
        }
    }
}

}  // namespace
}  // namespace qn::platform
