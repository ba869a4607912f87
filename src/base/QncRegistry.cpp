#include "base/QncRegistry.h"

#include <cstring>
#include <vector>

#include "platform/Clock.h"
#include "platform/ProfileFile.h"

using qn::platform::ConfigError;
using qn::platform::ConfigKey;
using qn::platform::ConfigRoot;
using qn::platform::kConfigAccessDenied;
using qn::platform::kConfigOk;
using qn::platform::kKeyAllAccess;
using qn::platform::kKeyRead;
using qn::platform::kKeyWow64_64Key;
using qn::platform::kKeyWrite;

namespace {

constexpr const char* kProgFilesFolderValue = "ProgFilesFolder";
constexpr int kDeleteSectionTries = 3;
constexpr std::uint32_t kDeleteSectionRetryMs = 10;

// The 64-bit view first, so 32- and 64-bit hosts see the same keys; without it only when that is refused.
ConfigError OpenWithFallback(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    ConfigError error = qn::platform::OpenConfigKey(root, subKey, access | kKeyWow64_64Key, key);
    if (error == kConfigAccessDenied) error = qn::platform::OpenConfigKey(root, subKey, access, key);
    return error;
}

}  // namespace

ConfigError OpenRegistryKeyForRead(ConfigRoot root, const char* subKey, ConfigKey& key) {
    return OpenWithFallback(root, subKey, kKeyRead, key);
}

ConfigError OpenRegistryKeyForWrite(ConfigRoot root, const char* subKey, ConfigKey& key) {
    return OpenWithFallback(root, subKey, kKeyWrite, key);
}

int EnsureRegistryKey(ConfigRoot root, const char* subKey) {
    ConfigKey key;
    if (qn::platform::OpenConfigKey(root, subKey, kKeyRead | kKeyWow64_64Key, key) == kConfigOk) return 1;
    if (qn::platform::CreateConfigKey(root, subKey, kKeyAllAccess | kKeyWow64_64Key, key) == kConfigOk)
        return 1;
    if (qn::platform::CreateConfigKey(root, subKey, kKeyAllAccess, key) == kConfigOk) return 1;
    return qn::platform::OpenConfigKey(root, subKey, kKeyRead, key) == kConfigOk ? 1 : 0;
}

ConfigError QueryRegistryString(ConfigRoot root, const char* subKey, const char* valueName, CQncString& value,
                                unsigned bufferSize) {
    value.Assign("");
    if (bufferSize < 2) return qn::platform::kConfigInvalidParameter;
    ConfigKey key;
    ConfigError error = OpenRegistryKeyForRead(root, subKey, key);
    if (error != kConfigOk) return error;
    std::vector<char> buffer(bufferSize, '\0');
    std::uint32_t size = bufferSize - 1;  // one byte stays NUL whatever is stored
    error = qn::platform::QueryConfigString(key, valueName, buffer.data(), size);
    if (error == kConfigOk) value.Assign(buffer.data());
    return error;
}

int SetRegistryString(ConfigRoot root, const char* subKey, const char* valueName, const char* value) {
    ConfigKey key;
    if (OpenRegistryKeyForWrite(root, subKey, key) != kConfigOk) return -1;
    if (value == nullptr) value = "";
    const auto size = static_cast<std::uint32_t>(std::strlen(value) + 1);
    return qn::platform::SetConfigString(key, valueName, value, size) == kConfigOk ? 0 : -1;
}

// On POSIX the stored folder also ends in "\\" ("/usr/share/qnsnwsm\\"); paths built on it go through the
// file mapping of platform/FileSystem.h, which turns every backslash into '/'.
void GetProgFilesFolder(CQncString& folder) {
    EnsureRegistryKey(kHkeyLocalMachine, kQncProductKey);
    QueryRegistryString(kHkeyLocalMachine, kQncProductKey, kProgFilesFolderValue, folder, 512);
    folder.Trim();
    if (!folder.IsEmpty()) {
        folder.AppendCharIfMissing('\\');
        folder.Trim();
    }
    // Every read stores the normalised text back; a refused write is of no concern here.
    SetRegistryString(kHkeyLocalMachine, kQncProductKey, kProgFilesFolderValue, folder.GetText());
    // Without a configured folder, the installation's own (not stored, so it follows the installation).
    if (folder.IsEmpty()) {
        folder.Assign(qn::platform::DefaultProgramFolder().c_str());
        if (!folder.IsEmpty()) folder.AppendCharIfMissing('\\');
    }
}

int WriteProfileInt(const char* section, const char* key, int value, const char* file) {
    CQncString text;
    text.Format("%d", value);
    return qn::platform::ProfileWriteString(section, key, text.GetText(), file);
}

int DeleteProfileSection(const char* file) {
    // Always the event log's section, whatever the caller had in mind.
    for (int attempt = 0; attempt < kDeleteSectionTries; ++attempt) {
        if (qn::platform::ProfileWriteSection("Log", nullptr, file) != 0) return 1;
        qn::platform::Sleep(kDeleteSectionRetryMs);
    }
    return 0;
}
