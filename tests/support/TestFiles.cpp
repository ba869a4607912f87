#include "TestFiles.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace qntest {

namespace fs = std::filesystem;

ScratchFolder::ScratchFolder() {
    std::string pattern = (fs::temp_directory_path() / "qnsnwsm-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::permissions(path_, fs::perms::owner_all, ignored);  // a test may have made it read-only
    fs::remove_all(path_, ignored);
}

std::string ScratchFolder::Write(const std::string& name, const std::string& content) const {
    const fs::path file = File(name);
    fs::create_directories(file.parent_path());
    WriteFile(file.string(), content);
    return file.string();
}

ScopedEnv::ScopedEnv(const char* name, const std::string& value) : name_(name) {
    if (const char* previous = getenv(name)) previous_ = previous;
    setenv(name, value.c_str(), 1);
}

ScopedEnv::~ScopedEnv() {
    if (previous_)
        setenv(name_.c_str(), previous_->c_str(), 1);
    else
        unsetenv(name_.c_str());
}

std::string StoreText(const std::string& winrmValues, const std::string& programFolder) {
    return "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" +
           (programFolder.empty() ? std::string(QN_SHARE_DIR "/") : programFolder) +
           "\n[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n" + winrmValues;
}

int RunWithReadOnlyFile(const std::string& folder, const std::string& file,
                        const std::function<int()>& body) {
    if (geteuid() != 0) {
        chmod(file.c_str(), 0444);
        chmod(folder.c_str(), 0555);
        const int result = access(folder.c_str(), W_OK) == 0 ? -1 : body();
        chmod(folder.c_str(), 0755);
        chmod(file.c_str(), 0644);
        return result;
    }
    chmod(folder.c_str(), 0755);
    chmod(file.c_str(), 0644);
    const pid_t child = fork();
    if (child == 0) {
        if (setgid(65534) != 0 || setuid(65534) != 0 || access(folder.c_str(), W_OK) == 0) _exit(100);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 101;
    return code == 100 ? -1 : code;
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream content;
    content << in.rdbuf();
    return content.str();
}

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFixture(const std::string& name) {
    return ReadFile(QN_FIXTURES_DIR "/" + name);
}

std::vector<std::string> ReadTraceMessages(const std::string& file) {
    static const std::regex stamp(R"(^\[\d\d:\d\d:\d\d\] )");
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        lines.push_back(std::regex_replace(line, stamp, "", std::regex_constants::format_first_only));
    return lines;
}

bool HasLine(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace qntest
