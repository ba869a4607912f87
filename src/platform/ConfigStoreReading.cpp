// Reading the configuration store, the same on every platform above the store's own calls.
#include <vector>

#include "platform/ConfigStore.h"

namespace qn::platform {

namespace {

constexpr std::uint32_t kFirstBufferSize = 512;
// A value that keeps growing between the size query and the read (another process writing) is given up.
constexpr int kReadAttempts = 4;

}  // namespace

ConfigError OpenConfigKeyPreferring64Bit(ConfigRoot root, const char* subKey, std::uint32_t access,
                                         ConfigKey& key) {
    ConfigError error = OpenConfigKey(root, subKey, access | kKeyWow64_64Key, key);
    if (error == kConfigAccessDenied) error = OpenConfigKey(root, subKey, access, key);
    return error;
}

ConfigError ReadConfigString(ConfigRoot root, const char* subKey, const char* valueName, std::string& value,
                             std::uint32_t maxSize) {
    value.clear();
    ConfigKey key;
    ConfigError error = OpenConfigKeyPreferring64Bit(root, subKey, kKeyRead, key);
    if (error != kConfigOk) return error;
    // One byte beyond the size passed stays NUL whatever is stored.
    std::vector<char> buffer((maxSize != 0 ? maxSize : kFirstBufferSize) + 1, '\0');
    for (int attempt = 0; attempt < kReadAttempts; ++attempt) {
        auto size = static_cast<std::uint32_t>(buffer.size() - 1);
        error = QueryConfigString(key, valueName, buffer.data(), size);
        if (error == kConfigOk) {
            value.assign(buffer.data());
            return kConfigOk;
        }
        if (error != kConfigMoreData || maxSize != 0) return error;
        buffer.assign(static_cast<std::size_t>(size > buffer.size() ? size : 2 * buffer.size()) + 1, '\0');
    }
    return error;
}

}  // namespace qn::platform
