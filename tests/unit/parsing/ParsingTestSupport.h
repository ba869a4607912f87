// Helpers of the record parser's tests: a program folder set through a private configuration store, scratch
// files, and items cut out of captured Windows replies.
#pragma once

#include <string>
#include <vector>

#include "TestFiles.h"

namespace parsing_test {

using qntest::ScratchFolder;

// Points QNSNWSM_REGISTRY at a store of its own whose "ProgFilesFolder" is `programFolder` (written as is).
class ProgramFolderSetting : qntest::ScratchStore {
  public:
    explicit ProgramFolderSetting(const std::string& programFolder) {
        WriteStore("[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" + programFolder +
                   "\n");
    }
};

// The source tree's data folder, which holds "Sys/Wsman/*.xsl".
inline std::string SourceDataFolder() {
    return QN_DATA_SOURCE_DIR;
}

// The elements that `xpath` selects in `documentText` (prefixes s, a, n, w, p-free), each serialised as a
// stand-alone item with the namespace declarations it needs, as the WinRM client hands items over.
std::vector<std::string> ExtractItems(const std::string& documentText, const std::string& xpath);

}  // namespace parsing_test
