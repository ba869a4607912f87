// Reading and rewriting small text files that several processes share: a reader always sees a whole file
// (writes go to a temporary file in the same folder that is renamed over the old one), and concurrent
// writers never lose each other's changes (each holds an exclusive flock on the file itself while it
// re-reads, modifies and replaces it; no lock file is left behind).
#pragma once

#include <functional>
#include <string>

namespace qn::platform::posix {

enum class FileOutcome { kOk, kNotFound, kPathNotFound, kAccessDenied, kFailed };

// content := the whole file.
FileOutcome ReadWholeFile(const std::string& path, std::string& content);

// True when the process may replace the file: its folder is writable and so is the file if it exists.
bool CanReplaceFile(const std::string& path);

// Re-reads the file under the lock (a missing file reads as empty), lets `modify` change the text and
// writes it back when `modify` returns true. The file keeps its permission bits; a new file gets 0644.
FileOutcome UpdateFileLocked(const std::string& path,
                             const std::function<bool(std::string& content)>& modify);

}  // namespace qn::platform::posix
