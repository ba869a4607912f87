#include "BenchSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace qnbench {

namespace {

long PageKiB() {
    return sysconf(_SC_PAGESIZE) / 1024;
}

long StatmResidentKiB(const std::string& file) {
    std::ifstream in(file);
    long size = 0, resident = 0;
    in >> size >> resident;
    return resident * PageKiB();
}

std::string ReadAll(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace

BenchFolder::BenchFolder(const std::vector<std::string>& winrmSettings) {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    std::ofstream(File("users")) << kDomain << ":monitor:" << kPassword << "\n";
    std::ofstream registry(File("registry.conf"));
    registry << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" << QN_SHARE_DIR << "/\n"
             << "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel\\Server\\WinRM]\n";
    for (const auto& line : winrmSettings) {
        registry << line << "\n";
    }
    registry.close();
    setenv("QNSNWSM_REGISTRY", File("registry.conf").c_str(), 1);
    setenv("QNSNWSM_STATE", File("state.conf").c_str(), 1);
}

BenchFolder::~BenchFolder() {
    unsetenv("QNSNWSM_REGISTRY");
    unsetenv("QNSNWSM_STATE");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

SimProcess::SimProcess(const BenchFolder& folder, const std::vector<std::string>& arguments) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) throw std::runtime_error("pipe failed");
    std::vector<std::string> words = {SimulatorPath(), "--port", "0", "--users",
                                      folder.File("users").string()};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (auto& word : words) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("fork failed");
    if (pid_ == 0) {
        dup2(pipeFds[1], STDOUT_FILENO);
        close(pipeFds[0]);
        close(pipeFds[1]);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(pipeFds[1]);
    // Wait (at most 30 s) for "listening on 127.0.0.1:PORT".
    std::string line;
    const double deadline = NowSeconds() + 30;
    while (line.find('\n') == std::string::npos && NowSeconds() < deadline) {
        pollfd ready{pipeFds[0], POLLIN, 0};
        if (poll(&ready, 1, 500) <= 0) continue;
        char buffer[256];
        const ssize_t got = read(pipeFds[0], buffer, sizeof buffer);
        if (got <= 0) break;
        line.append(buffer, static_cast<std::size_t>(got));
    }
    close(pipeFds[0]);
    std::smatch match;
    if (!std::regex_search(line, match, std::regex(R"(127\.0\.0\.1:(\d+))"))) {
        Stop();
        throw std::runtime_error("the simulator did not start: " + line);
    }
    port_ = static_cast<std::uint16_t>(std::stoi(match[1].str()));
}

SimProcess::~SimProcess() {
    Stop();
}

void SimProcess::Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    int status = 0;
    for (int i = 0; i < 100 && waitpid(pid_, &status, WNOHANG) == 0; ++i) {
        usleep(100000);
    }
    if (waitpid(pid_, &status, WNOHANG) == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
    }
    pid_ = -1;
}

double SimProcess::CpuSeconds() const {
    std::ifstream in("/proc/" + std::to_string(pid_) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // Fields after the command name, which is in parentheses: state is field 3, utime 14, stime 15.
    const auto close = text.rfind(')');
    if (close == std::string::npos) return 0;
    std::istringstream fields(text.substr(close + 2));
    std::string field;
    double ticks = 0;
    for (int index = 3; index <= 15 && fields >> field; ++index) {
        if (index == 14 || index == 15) ticks += std::stod(field);
    }
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

long SimProcess::ResidentKiB() const {
    return StatmResidentKiB("/proc/" + std::to_string(pid_) + "/statm");
}

std::vector<LogLine> ReadLog(const std::filesystem::path& file, std::size_t from) {
    static const std::regex pattern(
        R"re(conn=(\d+) auth=(\S+) action="([^"]*)" resource="[^"]*" filter="((?:[^"\\]|\\.)*)" status=(\d+))re");
    std::vector<LogLine> lines;
    std::istringstream in(ReadAll(file));
    std::size_t index = 0;
    for (std::string text; std::getline(in, text); ++index) {
        if (index < from) continue;
        std::smatch match;
        LogLine line;
        if (std::regex_search(text, match, pattern)) {
            line.connection = std::stoi(match[1].str());
            line.auth = match[2].str();
            const std::string action = match[3].str();
            line.action = action.substr(action.rfind('/') == std::string::npos ? 0 : action.rfind('/') + 1);
            line.filter = match[4].str();
            line.status = std::stoi(match[5].str());
        }
        lines.push_back(line);
    }
    return lines;
}

double ProcessCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

double ProcessSystemSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_stime.tv_sec) + static_cast<double>(usage.ru_stime.tv_usec) / 1e6;
}

long ProcessPageFaults() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_minflt;
}

long ResidentKiB() {
    return StatmResidentKiB("/proc/self/statm");
}

double NowSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::string SimulatorPath() {
    return QNSNWSM_SIM_EXE;
}

std::string ProfilesFolder() {
    return QN_PROFILE_DIR;
}

std::string ScaledServerProfile(const BenchFolder& folder, int processes) {
    const std::filesystem::path source = std::filesystem::path(ProfilesFolder()) / "server.json";
    std::string text = ReadAll(source);
    const std::string group = "\"repeat\": 1050, \"start\": 30000";
    const auto at = text.find(group);
    if (at == std::string::npos) throw std::runtime_error("server profile: batch-worker group not found");
    const int others = 2000 - 1050;
    if (processes <= others) throw std::runtime_error("server profile: too few processes asked for");
    text.replace(at, group.size(),
                 "\"repeat\": " + std::to_string(processes - others) + ", \"start\": 30000");
    const std::filesystem::path folderPath = folder.Path() / ("profile-" + std::to_string(processes));
    std::filesystem::create_directories(folderPath);
    for (const char* linked : {"parts", "classes"}) {
        std::error_code ignored;
        std::filesystem::create_directory_symlink(std::filesystem::path(ProfilesFolder()) / linked,
                                                  folderPath / linked, ignored);
    }
    const std::filesystem::path profile = folderPath / "server.json";
    std::ofstream(profile) << text;
    return profile.string();
}

QNSNWSM_HANDLE ConnectHandle(std::uint16_t port, const char* name) {
    QNSNWSM_HANDLE handle = nullptr;
    if (WSManInitialize(name, "", &handle) != QNSNWSM_OK) throw std::runtime_error("WSManInitialize failed");
    char error[512] = {};
    if (WSManConnectToComputer(handle, "127.0.0.1", kUser, kPassword, "root\\cimv2", port, 0, 0, error,
                               sizeof error) != QNSNWSM_OK) {
        WSManShutdown(handle);
        throw std::runtime_error(std::string("connect failed: ") + error);
    }
    return handle;
}

std::string MachineText() {
    std::ifstream in("/proc/cpuinfo");
    std::string model = "unknown CPU";
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("model name", 0) == 0) {
            model = line.substr(line.find(':') + 2);
            break;
        }
    }
    return std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores (nproc), " + model;
}

std::string UtcStamp() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &utc);
    return text;
}

}  // namespace qnbench
