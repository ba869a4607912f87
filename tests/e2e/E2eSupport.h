// What the end-to-end tests share: a private temporary folder with its own configuration store, and the
// trace file read back without time stamps.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace qn::e2e {

// Creates a fresh folder and points QNSNWSM_REGISTRY at a store inside it; both are undone on destruction.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    std::filesystem::path File(const char* name) const { return path_ / name; }

  private:
    std::filesystem::path path_;
};

std::vector<std::string> ReadTraceMessages(const std::filesystem::path& file);
std::string ReadWholeFile(const std::filesystem::path& file);

}  // namespace qn::e2e
