// A private temporary folder per test, removed afterwards.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

namespace wsman::test {

class TempFolder {
  public:
    TempFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "qn-transport-XXXXXX").string();
        path_ = mkdtemp(pattern.data()) ? pattern : std::string();
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    std::string Write(const std::string& name, const std::string& content) const {
        const std::string file = (std::filesystem::path(path_) / name).string();
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }
    std::string Path(const std::string& name) const { return (std::filesystem::path(path_) / name).string(); }

  private:
    std::string path_;
};

}  // namespace wsman::test
