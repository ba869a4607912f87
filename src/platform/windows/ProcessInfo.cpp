#include "platform/ProcessInfo.h"

#include <windows.h>

namespace qn::platform {

std::string ExecutableFilePath() {
    // Long paths do not fit MAX_PATH; grow until the name is not cut.
    std::string path(MAX_PATH, '\0');
    while (path.size() <= 32768) {
        const DWORD length = GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return {};
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        path.resize(path.size() * 2);
    }
    return {};
}

}  // namespace qn::platform
