#include "Version.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "qnsnwsm.h"

namespace qncli {

std::string LoadedLibraryFile() {
    Dl_info loaded{};
    if (dladdr(reinterpret_cast<const void*>(&WSManInitialize), &loaded) == 0 || loaded.dli_fname == nullptr)
        return "";
    std::error_code ignored;
    const std::filesystem::path file = std::filesystem::canonical(loaded.dli_fname, ignored);
    return file.empty() ? loaded.dli_fname : file.string();
}

std::string VersionText() {
    std::string text = std::string("qnsnwsm ") + QNSNWSM_VERSION + "\n";
    const std::filesystem::path file = LoadedLibraryFile();
    if (file.empty()) return text + "libqnsnwsm: cannot tell which file was loaded\n";
    const std::string name = file.filename().string();
    const std::string::size_type suffix = name.find(".so.");
    const std::string version = suffix != std::string::npos ? name.substr(suffix + 4) : "(version unknown)";
    return text + "libqnsnwsm " + version + " (" + file.string() + ")\n";
}

}  // namespace qncli
