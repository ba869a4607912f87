// Temporary folders and files for tests that touch the file system.
#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace qn::test {

class TemporaryFolder {
  public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

inline void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// Points the configuration store at `path` for the lifetime of the object.
class ScopedRegistryFile {
  public:
    explicit ScopedRegistryFile(const std::string& path) {
        if (const char* previous = getenv("QNSNWSM_REGISTRY")) {
            previous_ = previous;
            hadPrevious_ = true;
        }
        setenv("QNSNWSM_REGISTRY", path.c_str(), 1);
    }
    ~ScopedRegistryFile() {
        if (hadPrevious_) {
            setenv("QNSNWSM_REGISTRY", previous_.c_str(), 1);
        } else {
            unsetenv("QNSNWSM_REGISTRY");
        }
    }
    ScopedRegistryFile(const ScopedRegistryFile&) = delete;
    ScopedRegistryFile& operator=(const ScopedRegistryFile&) = delete;

  private:
    std::string previous_;
    bool hadPrevious_ = false;
};

}  // namespace qn::test
