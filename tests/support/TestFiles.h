// Files the tests make and read: private scratch folders, environment settings that are undone, the
// module's configuration store and trace file, and the captured Windows replies.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qntest {

// A fresh folder under the temporary directory, removed with its contents when the object goes.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string File(const std::string& name) const { return path_ + "/" + name; }
    // Writes `content` to `name` (folders made as needed) and returns the full path.
    std::string Write(const std::string& name, const std::string& content) const;

  private:
    std::string path_;
};

// Sets an environment variable for the lifetime of the object, then restores what was there.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const std::string& value);
    ~ScopedEnv();
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

  private:
    std::string name_;
    std::optional<std::string> previous_;
};

// A scratch folder whose registry.conf is the administrator's configuration file (QNSNWSM_REGISTRY) and
// whose state.conf takes the module's writes (QNSNWSM_STATE).
class ScratchStore : public ScratchFolder {
  public:
    ScratchStore() : env_("QNSNWSM_REGISTRY", StorePath()), stateEnv_("QNSNWSM_STATE", StatePath()) {}
    std::string StorePath() const { return File("registry.conf"); }
    std::string StatePath() const { return File("state.conf"); }
    void WriteStore(const std::string& text) const { Write("registry.conf", text); }

  private:
    ScopedEnv env_;
    ScopedEnv stateEnv_;
};

// Store text: the program folder (the source tree's stylesheets unless given) and values of the WinRM key.
std::string StoreText(const std::string& winrmValues, const std::string& programFolder = "");

// Runs `body` while `file` and its `folder` cannot be written: with their modes taken away, or, as root
// (whom modes do not stop), in a child process of an unprivileged user. Returns what `body` returns, or -1
// when they cannot be made read-only here.
int RunWithReadOnlyFile(const std::string& folder, const std::string& file, const std::function<int()>& body);

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& content);

// A captured Windows reply, or "" when the fixtures folder is not there.
std::string ReadFixture(const std::string& name);

// The trace file's lines without the leading "[hh:mm:ss] ".
std::vector<std::string> ReadTraceMessages(const std::string& file);
bool HasLine(const std::vector<std::string>& lines, const std::string& line);

}  // namespace qntest
