// The configuration store on the registry of the Wine prefix, and the base library's registry helpers above
// it: the program folder's normalisation and write-back.
#include <windows.h>

#include <string>

#include "TestRunner.h"
#include "base/QncRegistry.h"
#include "platform/ConfigStore.h"

using namespace qn::platform;

QN_TEST(StoreKeysReportWin32CodesAndTheSizeNeeded) {
    constexpr const char* kTestKey = "Software\\QnWindowsTests\\Store";
    ConfigKey key;
    QN_CHECK_EQ(OpenConfigKey(ConfigRoot::LocalMachine, "Software\\QnWindowsTests\\Missing", kKeyRead, key),
                kConfigNotFound);
    QN_CHECK_EQ(CreateConfigKey(ConfigRoot::LocalMachine, kTestKey, kKeyAllAccess | kKeyWow64_64Key, key),
                kConfigOk);
    QN_CHECK_EQ(SetConfigString(key, "Text", "hello\0ignored", 14), kConfigOk);

    QN_CHECK_EQ(OpenConfigKey(ConfigRoot::LocalMachine, kTestKey, kKeyRead | kKeyWow64_64Key, key),
                kConfigOk);
    QN_CHECK_EQ(SetConfigString(key, "Text", "x", 2), kConfigAccessDenied);
    char buffer[16];
    std::uint32_t size = sizeof buffer;
    QN_CHECK_EQ(QueryConfigString(key, "Text", buffer, size), kConfigOk);
    QN_CHECK_EQ(buffer, "hello");  // the stored text ends at the first NUL
    QN_CHECK_EQ(size, 6u);
    // Too small: the size needed comes back and the buffer stays as it was.
    char small[4] = "abc";
    size = sizeof small;
    QN_CHECK_EQ(QueryConfigString(key, "Text", small, size), kConfigMoreData);
    QN_CHECK_EQ(size, 6u);
    QN_CHECK_EQ(small, "abc");
    size = sizeof buffer;
    QN_CHECK_EQ(QueryConfigString(key, "Absent", buffer, size), kConfigNotFound);
}

QN_TEST(ProgFilesFolderIsNormalisedAndWrittenBack) {
    const auto stored = [] {
        CQncString value;
        const bool found =
            QueryRegistryString(kHkeyLocalMachine, kQncProductKey, "ProgFilesFolder", value) == kConfigOk;
        return found ? std::string(value.GetText()) : "<missing>";
    };
    QN_CHECK_EQ(EnsureRegistryKey(kHkeyLocalMachine, kQncProductKey), 1);
    SetRegistryString(kHkeyLocalMachine, kQncProductKey, "ProgFilesFolder",
                      "  C:\\Program Files\\Quillon\t\r\n");
    CQncString folder;
    GetProgFilesFolder(folder);
    QN_CHECK_EQ(folder.GetText(), "C:\\Program Files\\Quillon\\");
    QN_CHECK_EQ(stored(), "C:\\Program Files\\Quillon\\");

    // Missing: read empty and created empty.
    HKEY product = nullptr;
    RegOpenKeyExA(HKEY_LOCAL_MACHINE, kQncProductKey, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY, &product);
    RegDeleteValueA(product, "ProgFilesFolder");
    RegCloseKey(product);
    GetProgFilesFolder(folder);
    QN_CHECK_EQ(folder.GetText(), "");
    QN_CHECK_EQ(stored(), "");
}
