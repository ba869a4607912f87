// Profile files on POSIX: the same line-preserving INI form as the configuration store, rewritten
// atomically under a lock so that two processes writing one file lose nothing.
#include "platform/ProfileFile.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/FileSystem.h"
#include "platform/posix/IniDocument.h"
#include "platform/posix/LockedFileUpdate.h"

namespace qn::platform {

namespace {

using posix::FileOutcome;
using posix::IniDocument;

bool LoadProfile(const char* file, IniDocument& document) {
    if (file == nullptr) return false;
    std::string content;
    if (posix::ReadWholeFile(MapModulePath(file), content) != FileOutcome::kOk) return false;
    document = IniDocument::Parse(content);
    return true;
}

int UpdateProfile(const char* file, const std::function<bool(IniDocument&)>& modify) {
    if (file == nullptr || *file == '\0') return 0;
    const FileOutcome outcome = posix::UpdateFileLocked(MapModulePath(file), [&](std::string& content) {
        IniDocument document = IniDocument::Parse(content);
        if (!modify(document)) return false;
        content = document.Serialize();
        return true;
    });
    return outcome == FileOutcome::kOk ? 1 : 0;
}

}  // namespace

std::uint32_t ProfileGetInt(const char* section, const char* key, std::int32_t defaultValue,
                            const char* file) {
    IniDocument document;
    if (section == nullptr || key == nullptr || !LoadProfile(file, document)) {
        return static_cast<std::uint32_t>(defaultValue);
    }
    const IniDocument::Section* found = document.Find(section);
    const auto value = found != nullptr ? IniDocument::GetValue(*found, key) : std::nullopt;
    if (!value) return static_cast<std::uint32_t>(defaultValue);
    const std::string text(posix::TrimBlanks(*value));
    return static_cast<std::uint32_t>(std::strtol(text.c_str(), nullptr, 10));
}

std::uint32_t ProfileGetSection(const char* section, char* buffer, std::uint32_t size, const char* file) {
    if (buffer == nullptr || size == 0) return 0;
    buffer[0] = '\0';
    if (size == 1) return 0;
    IniDocument document;
    const IniDocument::Section* found =
        (section != nullptr && LoadProfile(file, document)) ? document.Find(section) : nullptr;
    if (found == nullptr) {
        buffer[1] = '\0';
        return 0;
    }
    // Room for the lines and their NULs, always leaving the final NUL of the multi-string.
    const std::size_t capacity = size - 1;
    std::size_t used = 0;
    for (const std::string& rawLine : found->lines) {
        const std::string_view line = posix::TrimBlanks(rawLine);
        if (line.empty()) continue;
        if (used + line.size() + 1 > capacity) {
            const std::size_t part = capacity > used + 1 ? capacity - used - 1 : 0;
            std::memcpy(buffer + used, line.data(), part);
            buffer[size - 2] = '\0';
            buffer[size - 1] = '\0';
            return size - 2;
        }
        std::memcpy(buffer + used, line.data(), line.size());
        used += line.size();
        buffer[used++] = '\0';
    }
    buffer[used] = '\0';
    return static_cast<std::uint32_t>(used);
}

int ProfileWriteSection(const char* section, const char* lines, const char* file) {
    if (section == nullptr) return 0;
    return UpdateProfile(file, [&](IniDocument& document) {
        if (lines == nullptr) return document.Remove(section);
        IniDocument::Section& target = document.FindOrAdd(section);
        target.lines.clear();
        for (const char* line = lines; *line != '\0'; line += std::strlen(line) + 1)
            target.lines.emplace_back(line);
        return true;
    });
}

int ProfileWriteString(const char* section, const char* key, const char* value, const char* file) {
    if (section == nullptr) return 0;
    return UpdateProfile(file, [&](IniDocument& document) {
        if (key == nullptr) return document.Remove(section);
        if (value == nullptr) {
            IniDocument::Section* found = document.Find(section);
            return found != nullptr && IniDocument::RemoveValue(*found, key);
        }
        IniDocument::SetValue(document.FindOrAdd(section), key, value);
        return true;
    });
}

}  // namespace qn::platform
