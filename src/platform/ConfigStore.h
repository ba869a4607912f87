// The machine-wide configuration store, shaped like the registry calls the module makes (open, create,
// query and set of REG_SZ strings) so that the helpers above it run the same steps on every platform.
// Windows keeps it in the registry; POSIX in a human-editable text file (see posix/ConfigStore.cpp).
// Every call returns a Win32-style error code.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace qn::platform {

using ConfigError = std::int32_t;

inline constexpr ConfigError kConfigOk = 0;
inline constexpr ConfigError kConfigNotFound = 2;      // ERROR_FILE_NOT_FOUND
inline constexpr ConfigError kConfigPathNotFound = 3;  // ERROR_PATH_NOT_FOUND
inline constexpr ConfigError kConfigAccessDenied = 5;  // ERROR_ACCESS_DENIED
inline constexpr ConfigError kConfigInvalidParameter = 87;
inline constexpr ConfigError kConfigMoreData = 234;  // ERROR_MORE_DATA

// Access masks as the registry defines them.
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeySetValue = 0x0002;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x0004;
inline constexpr std::uint32_t kKeyWow64_64Key = 0x0100;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;

enum class ConfigRoot { LocalMachine };

// An open key. Closing is automatic; Close() only makes it explicit.
class ConfigKey {
  public:
    ConfigKey();
    ~ConfigKey();
    ConfigKey(ConfigKey&& other) noexcept;
    ConfigKey& operator=(ConfigKey&& other) noexcept;
    ConfigKey(const ConfigKey&) = delete;
    ConfigKey& operator=(const ConfigKey&) = delete;

    bool IsOpen() const { return state_ != nullptr; }
    void Close();

    struct State;  // defined by the platform
    State* GetState() const { return state_.get(); }
    void Reset(std::unique_ptr<State> state);

  private:
    std::unique_ptr<State> state_;
};

// RegOpenKeyExA: kConfigNotFound when the key does not exist, kConfigAccessDenied when `access` asks for
// more than the process may do.
ConfigError OpenConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key);

// RegCreateKeyExA: opens the key, creating it (and its parents) when missing.
ConfigError CreateConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key);

// RegQueryValueExA for a REG_SZ value. `size` is the buffer's size on entry and the value's size with its
// NUL on return; kConfigMoreData when the buffer is too small (the buffer is then left untouched).
ConfigError QueryConfigString(const ConfigKey& key, const char* valueName, char* buffer, std::uint32_t& size);

// RegSetValueExA with REG_SZ: `size` counts the terminating NUL; the stored text ends at the first NUL.
ConfigError SetConfigString(const ConfigKey& key, const char* valueName, const char* value,
                            std::uint32_t size);

// The program folder to use when the store names none: on POSIX the installed data folder (found beside the
// library, so a relocated installation still finds its own), on Windows none ("").
std::string DefaultProgramFolder();

}  // namespace qn::platform
