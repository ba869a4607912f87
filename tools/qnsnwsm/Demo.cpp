#include "Demo.h"

#include <openssl/rand.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "Render.h"
#include "Runner.h"
#include "SimulatorProcess.h"

namespace qncli {

namespace {

namespace fs = std::filesystem;

// A private folder for the demo's account and configuration, removed again at the end.
class TempFolder {
  public:
    TempFolder() {
        std::string pattern = (fs::temp_directory_path() / "qnsnwsm-demo-XXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ~TempFolder() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const fs::path& Path() const { return path_; }

  private:
    fs::path path_;
};

std::string RandomPassword() {
    static const char kAlphabet[] = "abcdefghijkmnpqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789";
    unsigned char bytes[20];
    if (RAND_bytes(bytes, sizeof(bytes)) != 1) return "Demo-Passw0rd!";
    std::string password = "Qn-";
    for (unsigned char byte : bytes) password += kAlphabet[byte % (sizeof(kAlphabet) - 1)];
    return password;
}

// The stylesheets: the source tree's copy while this program runs from its build folder; an installed one
// names none, so the library uses its installed data folder.
std::string ProgramFolderLine() {
    std::error_code ignored;
    const std::string self = fs::read_symlink("/proc/self/exe", ignored).string();
    const fs::path source = QNSNWSM_SOURCE_DATA_DIR;
    if (self.rfind(std::string(QNSNWSM_BUILD_DIR) + "/", 0) == 0 &&
        fs::exists(source / "Sys/Wsman/WsmTxtEx.xsl"))
        return "ProgFilesFolder=" + source.string() + "/\n";
    return "";
}

bool WriteFile(const fs::path& path, const std::string& text) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text;
    return static_cast<bool>(file);
}

}  // namespace

int RunDemo(const CliOptions& options, std::ostream& out, std::ostream& err) {
    TempFolder folder;
    if (folder.Path().empty()) {
        err << "qnsnwsm demo: cannot create a temporary folder\n";
        return kExitCheckFailed;
    }
    const std::string domain = "DEMO", user = "monitor", password = RandomPassword();
    const fs::path users = folder.Path() / "users.txt";
    const fs::path config = folder.Path() / "registry.conf";
    if (!WriteFile(users, domain + ":" + user + ":" + password + "\n") ||
        !WriteFile(config, "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\n" + ProgramFolderLine() +
                               "\n[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n"
                               "ValidationClass=Win32_ComputerSystem\nAuthScheme=NTLM\n")) {
        err << "qnsnwsm demo: cannot write the demo's files\n";
        return kExitCheckFailed;
    }
    chmod(users.c_str(), 0600);
    setenv("QNSNWSM_REGISTRY", config.c_str(), 1);
    setenv("QNSNWSM_STATE", (folder.Path() / "state.conf").c_str(), 1);

    SimulatorLaunch launch;
    launch.profile = options.profile;
    launch.usersFile = users.string();
    launch.logFile = (folder.Path() / "requests.log").string();
    std::string error;
    std::optional<SimulatorProcess> simulator = SimulatorProcess::Start(launch, error);
    if (!simulator) {
        err << "qnsnwsm demo: " << error << '\n';
        return kExitCheckFailed;
    }

    CliOptions demo = options;
    demo.computer = "127.0.0.1";
    demo.user = domain + "\\" + user;
    demo.port = simulator->Port();
    demo.ssl = false;
    demo.wmiNamespace.clear();
    demo.sleepMs = 500;
    demo.durationMs = 1500;
    if (!options.json)
        out << "qnsnwsm demo: simulator with the '" << options.profile
            << "' profile on 127.0.0.1:" << simulator->Port() << ", user " << demo.user
            << " (NTLM, message encryption)\n\n";
    const std::vector<qnhost::CheckResult> results = RunEveryCheck(demo, password, true);
    simulator->Stop();
    options.json ? RenderJsonReport(results, out) : RenderTableReport(results, out);
    // The demo succeeds when the module ran end to end: the connection and the checks a Windows
    // computer of that profile can answer. Checks of absent roles (no IIS, no MSMQ) fail as they would there.
    return !results.empty() && results.front().command != "connect" && results.front().command != "initialize"
               ? kExitOk
               : kExitCheckFailed;
}

}  // namespace qncli
