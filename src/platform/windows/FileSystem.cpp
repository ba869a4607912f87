// Files on Windows: module paths are real paths, used as given.
#include "platform/FileSystem.h"

#include <windows.h>

#include "platform/windows/FindHandle.h"

namespace qn::platform {

std::string MapModulePath(std::string_view modulePath) {
    return std::string(modulePath);
}

std::optional<FileStamp> StampOfExistingFile(const char* modulePath) {
    if (modulePath == nullptr || *modulePath == '\0') return std::nullopt;
    WIN32_FIND_DATAA found{};
    const windows::FindHandle search(FindFirstFileA(modulePath, &found));
    if (!search.IsValid() || (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return std::nullopt;
    const auto ticks = [](FILETIME time) {  // 100 ns units
        return static_cast<std::int64_t>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) |
                                         time.dwLowDateTime);
    };
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::int64_t modified = ticks(found.ftLastWriteTime);
    return FileStamp{(static_cast<std::uint64_t>(found.nFileSizeHigh) << 32) | found.nFileSizeLow, modified,
                     std::chrono::nanoseconds((ticks(now) - modified) * 100)};
}

UniqueFile OpenFile(const char* modulePath, const char* mode) {
    if (modulePath == nullptr || mode == nullptr || *modulePath == '\0') return {};
    return UniqueFile(std::fopen(modulePath, mode));
}

UniqueFile OpenForAppending(const char* modulePath) {
    return OpenFile(modulePath, IsExistingFile(modulePath) ? "at" : "wt");
}

bool WriteWhole(std::FILE* file, std::string_view text) {
    // One buffer for the whole text (room for every LF widened to CR LF): it reaches the file in one flush,
    // not piece by piece between another writer's lines.
    const std::size_t room = text.size() * 2 + 2;
    std::setvbuf(file, nullptr, _IOFBF, room > 2 ? room : 2);
    const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fflush(file) == 0 && written;
}

}  // namespace qn::platform
