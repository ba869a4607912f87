// The configuration store on the registry of the Wine prefix: the Win32 codes the module's callers see. (The
// program folder's normalisation above it is the same code as on Linux: tests/unit/base/RegistryTest.cpp.)
#include <windows.h>

#include <string>

#include "TestRunner.h"
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
