// The configuration store on POSIX: a text file, by default QNSNWSM_DEFAULT_REGISTRY, or the file that the
// environment variable QNSNWSM_REGISTRY names. It reads like a .reg file:
//
//   ; comments and blank lines are kept when the module writes
//   [HKEY_LOCAL_MACHINE\Software\Quillon\Sentrel\Server\WinRM]
//   ValidationClass=Win32_ComputerSystem
//
// Key and value names compare without regard to case, like the registry's. A value is the text after the
// first '='; a value that starts or ends with a blank or holds a line break is written in double quotes with
// \\ \" \t \r \n escapes. A key exists when its section, or a section below it, exists.
//
// The file is read afresh by every call, so edits take effect at once. Writes replace the file atomically
// under a lock (posix/LockedFileUpdate.h). A store that the process may read but not write still reads;
// opening it for writing fails with access denied.
#include "platform/ConfigStore.h"

#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "platform/posix/IniDocument.h"
#include "platform/posix/LockedFileUpdate.h"

#ifndef QNSNWSM_DEFAULT_REGISTRY
#define QNSNWSM_DEFAULT_REGISTRY "/etc/qnsnwsm/registry.conf"
#endif

namespace qn::platform {

struct ConfigKey::State {
    std::string storePath;
    std::string section;  // "HKEY_LOCAL_MACHINE\<subKey>"
    std::uint32_t access = 0;
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

using posix::FileOutcome;
using posix::IniDocument;

constexpr std::uint32_t kWriteAccessBits = kKeySetValue | kKeyCreateSubKey;

std::string StorePath() {
    const char* overridePath = std::getenv("QNSNWSM_REGISTRY");
    return (overridePath != nullptr && *overridePath != '\0') ? overridePath : QNSNWSM_DEFAULT_REGISTRY;
}

std::string SectionName(ConfigRoot, const char* subKey) {
    std::string_view key = subKey != nullptr ? subKey : "";
    while (!key.empty() && key.front() == '\\') key.remove_prefix(1);
    while (!key.empty() && key.back() == '\\') key.remove_suffix(1);
    std::string name = "HKEY_LOCAL_MACHINE";
    if (!key.empty()) name.append("\\").append(key);
    return name;
}

ConfigError ErrorFrom(FileOutcome outcome) {
    switch (outcome) {
        case FileOutcome::kOk:
            return kConfigOk;
        case FileOutcome::kNotFound:
            return kConfigNotFound;
        case FileOutcome::kPathNotFound:
            return kConfigPathNotFound;
        case FileOutcome::kAccessDenied:
            return kConfigAccessDenied;
        case FileOutcome::kFailed:
            break;
    }
    return kConfigAccessDenied;
}

bool KeyExists(const IniDocument& document, const std::string& section) {
    const std::string prefix = section + "\\";
    for (const IniDocument::Section& candidate : document.Sections()) {
        if (posix::EqualsNoCase(candidate.name, section)) return true;
        if (candidate.name.size() > prefix.size() &&
            posix::EqualsNoCase(std::string_view(candidate.name).substr(0, prefix.size()), prefix)) {
            return true;
        }
    }
    return section.find('\\') == std::string::npos;  // the root always exists
}

bool NeedsQuotes(std::string_view value) {
    if (value.empty()) return false;
    const auto isBlank = [](char c) { return c == ' ' || c == '\t'; };
    return isBlank(value.front()) || isBlank(value.back()) || value.front() == '"' ||
           value.find_first_of("\r\n") != std::string_view::npos;
}

std::string EncodeValue(std::string_view value) {
    if (!NeedsQuotes(value)) return std::string(value);
    std::string encoded = "\"";
    for (const char c : value) {
        switch (c) {
            case '\\':
                encoded += "\\\\";
                break;
            case '"':
                encoded += "\\\"";
                break;
            case '\t':
                encoded += "\\t";
                break;
            case '\r':
                encoded += "\\r";
                break;
            case '\n':
                encoded += "\\n";
                break;
            default:
                encoded.push_back(c);
        }
    }
    return encoded + "\"";
}

std::string DecodeValue(std::string_view stored) {
    if (stored.size() < 2 || stored.front() != '"' || stored.back() != '"') return std::string(stored);
    stored = stored.substr(1, stored.size() - 2);
    std::string value;
    for (std::size_t i = 0; i < stored.size(); ++i) {
        if (stored[i] != '\\' || i + 1 == stored.size()) {
            value.push_back(stored[i]);
            continue;
        }
        switch (stored[++i]) {
            case 't':
                value.push_back('\t');
                break;
            case 'r':
                value.push_back('\r');
                break;
            case 'n':
                value.push_back('\n');
                break;
            default:
                value.push_back(stored[i]);
        }
    }
    return value;
}

// Reads the store; a missing file is an empty store.
ConfigError LoadStore(const std::string& path, IniDocument& document) {
    std::string content;
    const FileOutcome outcome = posix::ReadWholeFile(path, content);
    if (outcome != FileOutcome::kOk && outcome != FileOutcome::kNotFound) return ErrorFrom(outcome);
    document = IniDocument::Parse(content);
    return kConfigOk;
}

void GrantKey(const std::string& path, std::string section, std::uint32_t access, ConfigKey& key) {
    auto state = std::make_unique<ConfigKey::State>();
    state->storePath = path;
    state->section = std::move(section);
    state->access = access;
    key.Reset(std::move(state));
}

}  // namespace

ConfigError OpenConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    key.Close();
    const std::string path = StorePath();
    std::string section = SectionName(root, subKey);
    IniDocument document;
    if (const ConfigError error = LoadStore(path, document); error != kConfigOk) return error;
    if (!KeyExists(document, section)) return kConfigNotFound;
    if ((access & kWriteAccessBits) != 0 && !posix::CanReplaceFile(path)) return kConfigAccessDenied;
    GrantKey(path, std::move(section), access, key);
    return kConfigOk;
}

ConfigError CreateConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    const ConfigError opened = OpenConfigKey(root, subKey, access, key);
    if (opened != kConfigNotFound) return opened;

    const std::string path = StorePath();
    std::string section = SectionName(root, subKey);
    const FileOutcome outcome = posix::UpdateFileLocked(path, [&](std::string& content) {
        IniDocument document = IniDocument::Parse(content);
        if (KeyExists(document, section)) return false;
        document.FindOrAdd(section);
        content = document.Serialize();
        return true;
    });
    if (outcome != FileOutcome::kOk) return ErrorFrom(outcome);
    GrantKey(path, std::move(section), access, key);
    return kConfigOk;
}

ConfigError QueryConfigString(const ConfigKey& key, const char* valueName, char* buffer,
                              std::uint32_t& size) {
    const ConfigKey::State* state = key.GetState();
    if (state == nullptr) return kConfigInvalidParameter;
    if ((state->access & kKeyQueryValue) == 0) return kConfigAccessDenied;
    IniDocument document;
    if (const ConfigError error = LoadStore(state->storePath, document); error != kConfigOk) return error;
    const IniDocument::Section* section = document.Find(state->section);
    if (section == nullptr) return kConfigNotFound;
    const auto stored = IniDocument::GetValue(*section, valueName != nullptr ? valueName : "");
    if (!stored) return kConfigNotFound;
    const std::string value = DecodeValue(*stored);
    const std::uint32_t needed = static_cast<std::uint32_t>(value.size() + 1);
    if (buffer == nullptr || size < needed) {
        size = needed;
        return buffer == nullptr ? kConfigOk : kConfigMoreData;
    }
    std::memcpy(buffer, value.c_str(), needed);
    size = needed;
    return kConfigOk;
}

ConfigError SetConfigString(const ConfigKey& key, const char* valueName, const char* value,
                            std::uint32_t size) {
    const ConfigKey::State* state = key.GetState();
    if (state == nullptr) return kConfigInvalidParameter;
    if ((state->access & kKeySetValue) == 0) return kConfigAccessDenied;
    std::string_view text = value != nullptr ? std::string_view(value, size > 0 ? size - 1 : 0) : "";
    text = text.substr(0, text.find('\0'));
    const std::string name = valueName != nullptr ? valueName : "";
    // The module writes back what it has just read (the normalised program folder, the validation class)
    // on every read; a store that already holds the value is left alone, so those write-backs cost a read
    // instead of a locked rewrite of the file.
    const auto alreadyStored = [&](const std::string& content) {
        const IniDocument document = IniDocument::Parse(content);
        const IniDocument::Section* section = document.Find(state->section);
        if (section == nullptr) return false;
        const std::optional<std::string> stored = IniDocument::GetValue(*section, name);
        return stored && DecodeValue(*stored) == text;
    };
    std::string current;
    if (posix::ReadWholeFile(state->storePath, current) == FileOutcome::kOk && alreadyStored(current))
        return kConfigOk;
    const FileOutcome outcome = posix::UpdateFileLocked(state->storePath, [&](std::string& content) {
        if (alreadyStored(content)) return false;
        IniDocument document = IniDocument::Parse(content);
        IniDocument::SetValue(document.FindOrAdd(state->section), name, EncodeValue(text));
        content = document.Serialize();
        return true;
    });
    return ErrorFrom(outcome);
}

}  // namespace qn::platform
