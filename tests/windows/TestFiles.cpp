#include "TestFiles.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace qn::wintest {

std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file) content << file.rdbuf();
    return content.str();
}

void WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush())
        throw std::runtime_error("cannot write " + path);
}

std::string FreshFolder(const std::string& name) {
    const std::filesystem::path folder = std::filesystem::path(WinePath(QN_SCRATCH_DIR)) / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}

}  // namespace qn::wintest
