#include "platform/FileSystem.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>

namespace qn::platform {

namespace {

// A module path names the file by what follows its drive letter; its separators become '/'.
std::string_view WithoutDrive(std::string_view modulePath) {
    if (modulePath.size() >= 2 && modulePath[1] == ':' &&
        std::isalpha(static_cast<unsigned char>(modulePath[0])) != 0) {
        modulePath.remove_prefix(2);
    }
    return modulePath;
}

}  // namespace

std::string MapModulePath(std::string_view modulePath) {
    std::string path(WithoutDrive(modulePath));
    std::replace(path.begin(), path.end(), '\\', '/');
    return path;
}

std::optional<FileStamp> StampOfExistingFile(const char* modulePath) {
    if (modulePath == nullptr || *modulePath == '\0') return std::nullopt;
    // Asked before every item is transformed: the mapped path is made on the stack, not the heap.
    std::array<char, PATH_MAX> onStack;
    const std::string_view file = WithoutDrive(modulePath);
    std::string onHeap;
    const char* path = onStack.data();
    if (file.size() < onStack.size()) {
        *std::replace_copy(file.begin(), file.end(), onStack.begin(), '\\', '/') = '\0';
    } else {
        onHeap = MapModulePath(file);
        path = onHeap.c_str();
    }
    struct stat status {};
    if (stat(path, &status) != 0 || S_ISDIR(status.st_mode)) return std::nullopt;
    const std::int64_t modified =
        static_cast<std::int64_t>(status.st_mtim.tv_sec) * 1'000'000'000 + status.st_mtim.tv_nsec;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::int64_t current = static_cast<std::int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
    return FileStamp{static_cast<std::uint64_t>(status.st_size), modified,
                     std::chrono::nanoseconds(current - modified)};
}

UniqueFile OpenFile(const char* modulePath, const char* mode) {
    if (modulePath == nullptr || mode == nullptr || *modulePath == '\0') return {};
    std::string posixMode;
    for (const char* c = mode; *c != '\0'; ++c) {
        if (*c != 't') posixMode.push_back(*c);  // text mode is the only mode here
    }
    return UniqueFile(std::fopen(MapModulePath(modulePath).c_str(), posixMode.c_str()));
}

UniqueFile OpenForAppending(const char* modulePath) {
    if (modulePath == nullptr || *modulePath == '\0') return {};
    // O_APPEND|O_CREAT: the same as "wt" for a missing file and "at" for an existing one, without the
    // window between the test and the open in which a second creator would truncate the first one's lines.
    // Traces name hosts, users and queries: a new file is the owner's alone; an existing one keeps its mode.
    const int fd = open(MapModulePath(modulePath).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) return {};
    UniqueFile file(fdopen(fd, "a"));
    if (!file) close(fd);
    return file;
}

bool WriteWhole(std::FILE* file, std::string_view text) {
    // Unbuffered: fwrite then hands the whole text to one write(2) on an O_APPEND descriptor.
    std::setvbuf(file, nullptr, _IONBF, 0);
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

}  // namespace qn::platform
