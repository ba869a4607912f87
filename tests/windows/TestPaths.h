// Paths of the build and source trees as a program under Wine sees them: drive Z: is the Linux root.
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

// A folder the tests may fill; created by the build.
inline std::string ScratchFolder() {
    return WinePath(QN_SCRATCH_DIR);
}

}  // namespace qn::wintest
