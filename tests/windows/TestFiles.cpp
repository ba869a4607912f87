#include "TestFiles.h"

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>

#include "TestPaths.h"

namespace qn::wintest {

namespace {
struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
}  // namespace

std::string ReadWholeFile(const std::string& path) {
    const File file(std::fopen(path.c_str(), "rb"));
    std::string content;
    if (!file) return content;
    char chunk[4096];
    for (std::size_t got; (got = std::fread(chunk, 1, sizeof chunk, file.get())) > 0;)
        content.append(chunk, got);
    return content;
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    const File file(std::fopen(path.c_str(), "wb"));
    if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size()) {
        throw std::runtime_error("cannot write " + path);
    }
}

void RemoveFile(const std::string& path) {
    DeleteFileA(path.c_str());
}

std::string FreshFolder(const std::string& name) {
    const std::filesystem::path folder = std::filesystem::path(ScratchFolder()) / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}

}  // namespace qn::wintest
