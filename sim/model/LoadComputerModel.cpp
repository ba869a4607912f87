// Finds a profile by name (bundled with the sources or installed) or by path, and builds its model.
#include <filesystem>

#include "model/SimulatedComputer.h"

namespace qnsim {

namespace {

namespace fs = std::filesystem;

// The installed profiles relative to this program, so an installation moved to another prefix finds its own.
fs::path ProfilesBesideProgram() {
    std::error_code ignored;
    const fs::path self = fs::read_symlink("/proc/self/exe", ignored);
    return self.empty() ? fs::path() : self.parent_path() / QNSIM_PROFILE_DIR_FROM_BINDIR;
}

// A name without a path separator or extension means a bundled profile.
fs::path LocateProfile(const std::string& nameOrPath) {
    const fs::path given(nameOrPath);
    if (given.has_extension() || given.has_parent_path()) return given;
    for (const fs::path& folder :
         {fs::path(QNSIM_PROFILE_DIR), ProfilesBesideProgram(), fs::path(QNSIM_INSTALLED_PROFILE_DIR)}) {
        if (folder.empty()) continue;
        const fs::path candidate = folder / (nameOrPath + ".json");
        if (fs::exists(candidate)) return candidate;
    }
    return fs::path(QNSIM_PROFILE_DIR) / (nameOrPath + ".json");
}

// A profile next to its own classes folder uses it; any other profile uses the bundled class definitions.
fs::path LocateClasses(const fs::path& profile) {
    const fs::path beside = profile.parent_path() / "classes";
    if (fs::is_directory(beside)) return beside;
    const fs::path bundled = fs::path(QNSIM_PROFILE_DIR) / "classes";
    if (fs::is_directory(bundled)) return bundled;
    return fs::path(QNSIM_INSTALLED_PROFILE_DIR) / "classes";
}

}  // namespace

std::unique_ptr<ComputerModel> LoadComputerModel(const std::string& nameOrPath, std::string& error) {
    const fs::path profile = LocateProfile(nameOrPath);
    ComputerData data;
    if (!LoadProfile(profile.string(), LocateClasses(profile).string(), data, error)) return nullptr;
    return std::make_unique<SimulatedComputer>(std::move(data), std::chrono::steady_clock::now());
}

}  // namespace qnsim
