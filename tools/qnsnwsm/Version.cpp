#include "Version.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "qnsnwsm.h"

namespace qncli {

std::string VersionText() {
    std::string text = std::string("qnsnwsm ") + QNSNWSM_VERSION + "\n";
    Dl_info loaded{};
    if (dladdr(reinterpret_cast<const void*>(&WSManInitialize), &loaded) == 0 || loaded.dli_fname == nullptr)
        return text + "libqnsnwsm: cannot tell which file was loaded\n";
    std::error_code ignored;
    std::filesystem::path file = std::filesystem::canonical(loaded.dli_fname, ignored);
    if (file.empty()) file = loaded.dli_fname;
    const std::string name = file.filename().string();
    const std::string::size_type suffix = name.find(".so.");
    const std::string version = suffix != std::string::npos ? name.substr(suffix + 4) : "(version unknown)";
    return text + "libqnsnwsm " + version + " (" + file.string() + ")\n";
}

}  // namespace qncli
