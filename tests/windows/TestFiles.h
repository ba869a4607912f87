// Paths as a program under Wine sees them (drive Z: is the Linux root) and files of the scratch folder.
#pragma once

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace qn::wintest {

inline std::string WinePath(const std::string& linuxPath) {
    std::string path = "Z:" + linuxPath;
    for (char& c : path) {
        if (c == '/') c = '\\';
    }
    return path;
}

// The installation folder with the stylesheets under Sys\Wsman, ending in a backslash.
inline std::string ShareFolder() {
    return WinePath(QN_SHARE_DIR) + "\\";
}

inline std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file) content << file.rdbuf();
    return content.str();
}

inline void WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush())
        throw std::runtime_error("cannot write " + path);
}

// A fresh, empty folder under the scratch folder that the build creates.
inline std::string FreshFolder(const std::string& name) {
    const std::filesystem::path folder = std::filesystem::path(WinePath(QN_SCRATCH_DIR)) / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}

}  // namespace qn::wintest
