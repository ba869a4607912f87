// Files the module names with Windows-style paths.
//
// Path rule (the one place where it is applied): a drive prefix ("c:") at the start is dropped and every
// backslash becomes '/'. So "c:\\qndebug\\assert.txt" is "/qndebug/assert.txt" on POSIX, and a folder stored
// with a trailing "\\" ends in '/'. POSIX paths pass through unchanged. Windows uses paths as given.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace qn::platform {

std::string MapModulePath(std::string_view modulePath);

// What tells a file's content apart without reading it: size and modification time (in the platform's own
// units, only ever compared), and how long ago that modification was.
struct FileStamp {
    std::uint64_t size = 0;
    std::int64_t modified = 0;
    std::chrono::nanoseconds age{0};
    bool SameVersion(const FileStamp& other) const {
        return size == other.size && modified == other.modified;
    }
};

// The IsExistingFile test and the file's stamp in one look-up: nothing when the path names no file or a
// directory.
std::optional<FileStamp> StampOfExistingFile(const char* modulePath);

// The FindFirstFileA test: the path names something that exists and is not a directory.
inline bool IsExistingFile(const char* modulePath) {
    return StampOfExistingFile(modulePath).has_value();
}

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

// fopen of the mapped path; `mode` may carry the text flag 't' ("at", "wt"). Empty on failure.
UniqueFile OpenFile(const char* modulePath, const char* mode);

// Opens a line file (trace, debug lines) for appending: "at" when the file exists and is not a folder,
// "wt" otherwise. Where the platform can, a file created at that moment by another writer is appended to
// rather than emptied again, so two writers starting a new file at once both keep their first lines.
UniqueFile OpenForAppending(const char* modulePath);

// Writes `text` to a freshly opened file in one piece, so that processes and objects appending lines to
// one file never interleave parts of lines. Must be the first operation on the stream.
bool WriteWhole(std::FILE* file, std::string_view text);

}  // namespace qn::platform
