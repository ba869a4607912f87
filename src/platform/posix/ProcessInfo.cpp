#include "platform/ProcessInfo.h"

#include <unistd.h>

#include <climits>

namespace qn::platform {

std::string ExecutableFilePath() {
    char path[PATH_MAX] = {};
    const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
    if (length <= 0) return {};
    return std::string(path, static_cast<std::size_t>(length));
}

}  // namespace qn::platform
