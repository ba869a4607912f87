// The configuration store on Windows is the registry itself: HKEY_LOCAL_MACHINE, the access masks as the
// callers pass them (KEY_WOW64_64KEY included), REG_SZ values.
#include "platform/ConfigStore.h"

#include <windows.h>

#include <cstring>
#include <new>
#include <vector>

namespace qn::platform {

struct ConfigKey::State {
    explicit State(HKEY opened) : handle(opened) {}
    ~State() { RegCloseKey(handle); }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    HKEY handle;
};

ConfigKey::ConfigKey() = default;
ConfigKey::~ConfigKey() = default;
ConfigKey::ConfigKey(ConfigKey&& other) noexcept = default;
ConfigKey& ConfigKey::operator=(ConfigKey&& other) noexcept = default;
void ConfigKey::Close() {
    state_.reset();
}
void ConfigKey::Reset(std::unique_ptr<State> state) {
    state_ = std::move(state);
}

namespace {

HKEY RootHandle(ConfigRoot) {
    return HKEY_LOCAL_MACHINE;
}

ConfigError Adopt(LONG error, HKEY opened, ConfigKey& key) {
    if (error != ERROR_SUCCESS) return error;
    std::unique_ptr<ConfigKey::State> state(new (std::nothrow) ConfigKey::State(opened));
    if (!state) {
        RegCloseKey(opened);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    key.Reset(std::move(state));
    return kConfigOk;
}

bool IsStringType(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

}  // namespace

ConfigError OpenConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    key.Close();
    HKEY opened = nullptr;
    const LONG error = RegOpenKeyExA(RootHandle(root), subKey, 0, access, &opened);
    return Adopt(error, opened, key);
}

ConfigError CreateConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    key.Close();
    HKEY opened = nullptr;
    const LONG error = RegCreateKeyExA(RootHandle(root), subKey, 0, nullptr, REG_OPTION_NON_VOLATILE, access,
                                       nullptr, &opened, nullptr);
    return Adopt(error, opened, key);
}

ConfigError QueryConfigString(const ConfigKey& key, const char* valueName, char* buffer,
                              std::uint32_t& size) {
    const ConfigKey::State* state = key.GetState();
    if (state == nullptr) return kConfigInvalidParameter;

    // Read into a buffer of our own first: the registry may store a string without its NUL, and a value
    // that does not fit must leave the caller's buffer as it was.
    DWORD type = 0;
    DWORD stored = 0;
    LONG error = RegQueryValueExA(state->handle, valueName, nullptr, &type, nullptr, &stored);
    if (error != ERROR_SUCCESS) return error;
    if (!IsStringType(type)) return kConfigNotFound;
    std::vector<char> value(stored + 1, '\0');
    error = RegQueryValueExA(state->handle, valueName, nullptr, &type, reinterpret_cast<BYTE*>(value.data()),
                             &stored);
    if (error != ERROR_SUCCESS) return error;
    if (!IsStringType(type)) return kConfigNotFound;

    const auto needed = static_cast<std::uint32_t>(strnlen(value.data(), stored) + 1);
    if (buffer == nullptr || size < needed) {
        size = needed;
        return buffer == nullptr ? kConfigOk : kConfigMoreData;
    }
    std::memcpy(buffer, value.data(), needed - 1);
    buffer[needed - 1] = '\0';
    size = needed;
    return kConfigOk;
}

ConfigError SetConfigString(const ConfigKey& key, const char* valueName, const char* value,
                            std::uint32_t size) {
    const ConfigKey::State* state = key.GetState();
    if (state == nullptr) return kConfigInvalidParameter;
    const char* text = value != nullptr ? value : "";
    const std::size_t length = value != nullptr && size > 0 ? strnlen(text, size - 1) : 0;
    std::vector<char> stored(text, text + length);
    stored.push_back('\0');
    return RegSetValueExA(state->handle, valueName, 0, REG_SZ, reinterpret_cast<const BYTE*>(stored.data()),
                          static_cast<DWORD>(stored.size()));
}

// The installer always writes the program folder; there is nothing to fall back to.
std::string DefaultProgramFolder() {
    return "";
}

}  // namespace qn::platform
