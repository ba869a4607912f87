// The configuration store on POSIX: two text files read as layers.
//
//  - The administrator's file: QNSNWSM_DEFAULT_REGISTRY (below the install prefix's sysconfdir), or the file
//    that the environment variable QNSNWSM_REGISTRY names. The module only reads it.
//  - The module's state file, which takes every write: QNSNWSM_STATE when set, else QNSNWSM_DEFAULT_STATE
//    when this process may write there, else $XDG_STATE_HOME/qnsnwsm/state.conf (~/.local/state/...).
//
// A value the administrator's file holds wins over the state file's: the module's write-backs (the
// normalised program folder, a default it filled in) only ever restate or complete that file, so an edit
// there takes effect at once instead of being shadowed by an older write-back. A key exists when either
// file has it. Both read like a .reg file:
//
//   ; comments and blank lines are kept when the module writes
//   [HKEY_LOCAL_MACHINE\Software\Quillon\Sentrel\Server\WinRM]
//   ValidationClass=Win32_ComputerSystem
//
// Key and value names compare without regard to case, like the registry's. A value is the text after the
// first '='; a value that starts or ends with a blank or holds a line break is written in double quotes with
// \\ \" \t \r \n escapes. A key exists when its section, or a section below it, exists.
//
// The files are read afresh by every call, so edits take effect at once. Writes replace the state file
// atomically under a lock (posix/LockedFileUpdate.h), creating its folder when missing. When no state file
// can be written, the store still reads; opening a key for writing fails with access denied.
#include "platform/ConfigStore.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
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
#ifndef QNSNWSM_DEFAULT_STATE
#define QNSNWSM_DEFAULT_STATE "/var/lib/qnsnwsm/state.conf"
#endif
#ifndef QNSNWSM_DATA_DIR
#define QNSNWSM_DATA_DIR "/usr/share/qnsnwsm"
#define QNSNWSM_DATA_DIR_FROM_LIBDIR "../share/qnsnwsm"
#endif

namespace qn::platform {

struct ConfigKey::State {
    std::string storePath;  // the administrator's file
    std::string statePath;  // the module's own file
    std::string section;    // "HKEY_LOCAL_MACHINE\<subKey>"
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

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::string StorePath() {
    const std::string overridePath = Environment("QNSNWSM_REGISTRY");
    return !overridePath.empty() ? overridePath : QNSNWSM_DEFAULT_REGISTRY;
}

std::string FolderOf(const std::string& path) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// The file can be written once its missing folders are made: the nearest existing folder must be writable.
bool CanWriteCreatingFolders(const std::string& path) {
    std::string folder = FolderOf(path);
    if (access(folder.c_str(), F_OK) == 0) return posix::CanReplaceFile(path);
    while (access(folder.c_str(), F_OK) != 0 && folder != "/" && folder != ".") folder = FolderOf(folder);
    return access(folder.c_str(), W_OK | X_OK) == 0;
}

bool MakeFolders(const std::string& folder) {
    if (folder == "/" || folder == "." || access(folder.c_str(), F_OK) == 0) return true;
    if (!MakeFolders(FolderOf(folder))) return false;
    // Private: the state may name this host's folders and accounts' settings.
    return mkdir(folder.c_str(), 0700) == 0 || errno == EEXIST;
}

std::string StatePath() {
    if (std::string chosen = Environment("QNSNWSM_STATE"); !chosen.empty()) return chosen;
    if (CanWriteCreatingFolders(QNSNWSM_DEFAULT_STATE)) return QNSNWSM_DEFAULT_STATE;
    std::string base = Environment("XDG_STATE_HOME");
    if (base.empty() || base.front() != '/') {
        const std::string home = Environment("HOME");
        if (home.empty()) return QNSNWSM_DEFAULT_STATE;
        base = home + "/.local/state";
    }
    return base + "/qnsnwsm/state.conf";
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

// The state file only adds to the administrator's: one it cannot read adds nothing.
IniDocument LoadState(const std::string& path) {
    IniDocument document;
    if (LoadStore(path, document) != kConfigOk) document = IniDocument::Parse("");
    return document;
}

std::optional<std::string> StoredValue(const IniDocument& document, const std::string& section,
                                       const std::string& name) {
    const IniDocument::Section* found = document.Find(section);
    if (found == nullptr) return std::nullopt;
    const std::optional<std::string> stored = IniDocument::GetValue(*found, name);
    if (!stored) return std::nullopt;
    return DecodeValue(*stored);
}

void GrantKey(std::string section, std::uint32_t access, ConfigKey& key) {
    auto state = std::make_unique<ConfigKey::State>();
    state->storePath = StorePath();
    state->statePath = StatePath();
    state->section = std::move(section);
    state->access = access;
    key.Reset(std::move(state));
}

}  // namespace

ConfigError OpenConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    key.Close();
    std::string section = SectionName(root, subKey);
    IniDocument document;
    if (const ConfigError error = LoadStore(StorePath(), document); error != kConfigOk) return error;
    const std::string statePath = StatePath();
    if (!KeyExists(document, section) && !KeyExists(LoadState(statePath), section)) return kConfigNotFound;
    if ((access & kWriteAccessBits) != 0 && !CanWriteCreatingFolders(statePath)) return kConfigAccessDenied;
    GrantKey(std::move(section), access, key);
    return kConfigOk;
}

ConfigError CreateConfigKey(ConfigRoot root, const char* subKey, std::uint32_t access, ConfigKey& key) {
    const ConfigError opened = OpenConfigKey(root, subKey, access, key);
    if (opened != kConfigNotFound) return opened;

    const std::string path = StatePath();
    std::string section = SectionName(root, subKey);
    if (!MakeFolders(FolderOf(path))) return kConfigAccessDenied;
    const FileOutcome outcome = posix::UpdateFileLocked(path, [&](std::string& content) {
        IniDocument document = IniDocument::Parse(content);
        if (KeyExists(document, section)) return false;
        document.FindOrAdd(section);
        content = document.Serialize();
        return true;
    });
    if (outcome != FileOutcome::kOk) return ErrorFrom(outcome);
    GrantKey(std::move(section), access, key);
    return kConfigOk;
}

ConfigError QueryConfigString(const ConfigKey& key, const char* valueName, char* buffer,
                              std::uint32_t& size) {
    const ConfigKey::State* state = key.GetState();
    if (state == nullptr) return kConfigInvalidParameter;
    if ((state->access & kKeyQueryValue) == 0) return kConfigAccessDenied;
    IniDocument document;
    if (const ConfigError error = LoadStore(state->storePath, document); error != kConfigOk) return error;
    const std::string name = valueName != nullptr ? valueName : "";
    std::optional<std::string> found = StoredValue(document, state->section, name);
    if (!found) found = StoredValue(LoadState(state->statePath), state->section, name);
    if (!found) return kConfigNotFound;
    const std::string& value = *found;
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
    // on every read; a value the administrator's file or the state file already holds is left alone, so
    // those write-backs cost a read instead of a locked rewrite of the state file.
    const auto alreadyStored = [&](const std::string& content) {
        const std::optional<std::string> stored =
            StoredValue(IniDocument::Parse(content), state->section, name);
        return stored && *stored == text;
    };
    std::string current;
    if (posix::ReadWholeFile(state->storePath, current) == FileOutcome::kOk && alreadyStored(current))
        return kConfigOk;
    if (posix::ReadWholeFile(state->statePath, current) == FileOutcome::kOk && alreadyStored(current))
        return kConfigOk;
    if (!MakeFolders(FolderOf(state->statePath))) return kConfigAccessDenied;
    const FileOutcome outcome = posix::UpdateFileLocked(state->statePath, [&](std::string& content) {
        if (alreadyStored(content)) return false;
        IniDocument document = IniDocument::Parse(content);
        IniDocument::SetValue(document.FindOrAdd(state->section), name, EncodeValue(text));
        content = document.Serialize();
        return true;
    });
    return ErrorFrom(outcome);
}

std::string DefaultProgramFolder() {
    // The data folder relative to the library's own file first: the install tree may have been moved or
    // installed to another prefix than the one configured.
    Dl_info self{};
    if (dladdr(reinterpret_cast<const void*>(&DefaultProgramFolder), &self) != 0 &&
        self.dli_fname != nullptr) {
        const std::string besideLibrary = FolderOf(self.dli_fname) + "/" + QNSNWSM_DATA_DIR_FROM_LIBDIR;
        if (access((besideLibrary + "/Sys/Wsman/WsmTxtEx.xsl").c_str(), R_OK) == 0) return besideLibrary;
    }
    return QNSNWSM_DATA_DIR;
}

}  // namespace qn::platform
