// Helpers of the record parser's tests: a program folder set through a private configuration store,
// scratch files, and items cut out of captured Windows replies.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace parsing_test {

// A scratch folder, removed with everything in it when the object goes.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& Path() const { return path_; }
    // Writes `content` to `relativePath` (folders created as needed) and returns the full path.
    std::filesystem::path WriteFile(const std::string& relativePath, const std::string& content) const;

  private:
    std::filesystem::path path_;
};

// Points QNSNWSM_REGISTRY at a store of its own whose "ProgFilesFolder" is `programFolder` (written as is),
// and restores the previous environment when it goes.
class ProgramFolderSetting {
  public:
    explicit ProgramFolderSetting(const std::string& programFolder);
    ~ProgramFolderSetting();
    ProgramFolderSetting(const ProgramFolderSetting&) = delete;
    ProgramFolderSetting& operator=(const ProgramFolderSetting&) = delete;

  private:
    ScratchFolder store_;
    bool hadPrevious_ = false;
    std::string previous_;
};

// The source tree's data folder, which holds "Sys/Wsman/*.xsl".
std::string SourceDataFolder();

// A captured Windows reply, or "" when the fixtures folder is not there.
std::string ReadFixture(const std::string& fileName);

// The elements that `xpath` selects in `documentText` (prefixes s, a, n, w, p-free), each serialised as a
// stand-alone item with the namespace declarations it needs, as the WinRM client hands items over.
std::vector<std::string> ExtractItems(const std::string& documentText, const std::string& xpath);

// "41 3A 3D 0D 0A": the bytes of `text` in hex, for comparisons that must show CR and LF.
std::string HexBytes(const std::string& text);

}  // namespace parsing_test
