// Paths as a program under Wine sees them (drive Z: is the Linux root) and files of the scratch folder.
#pragma once

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

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& content);
// A fresh, empty folder under the scratch folder that the build creates.
std::string FreshFolder(const std::string& name);

}  // namespace qn::wintest
