#include "Password.h"

#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

namespace qnhost {

namespace {

std::optional<std::string> ReadFirstLine(const std::string& path, std::string& error) {
    std::ifstream file(path);
    if (!file) {
        error = "cannot read the password file " + path;
        return std::nullopt;
    }
    std::string line;
    std::getline(file, line);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// Restores the terminal's echo however the prompt ends.
class EchoOff {
  public:
    EchoOff() {
        if (tcgetattr(STDIN_FILENO, &saved_) == 0) {
            termios quiet = saved_;
            quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
            active_ = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
        }
    }
    ~EchoOff() {
        if (active_) tcsetattr(STDIN_FILENO, TCSAFLUSH, &saved_);
    }
    EchoOff(const EchoOff&) = delete;
    EchoOff& operator=(const EchoOff&) = delete;

  private:
    termios saved_{};
    bool active_ = false;
};

}  // namespace

void ForgetEnvironmentPassword(const std::string& variable) {
    if (char* value = std::getenv(variable.c_str()); value != nullptr)
        std::fill_n(value, std::strlen(value), '\0');
    unsetenv(variable.c_str());
}

std::optional<std::string> ResolvePassword(const ConnectionOptions& options, std::string& error,
                                           EnvironmentPassword afterReading) {
    if (options.user.empty()) return std::string();
    if (!options.passwordFile.empty()) return ReadFirstLine(options.passwordFile, error);
    const std::string variable = options.passwordEnv.empty() ? kDefaultPasswordVariable : options.passwordEnv;
    if (const char* value = std::getenv(variable.c_str()); value != nullptr) {
        std::string password(value);
        // Read once, then gone from child processes and /proc readers.
        if (afterReading == EnvironmentPassword::kForget) ForgetEnvironmentPassword(variable);
        return password;
    }
    if (!options.passwordEnv.empty()) {
        error = "the environment variable " + options.passwordEnv + " is not set";
        return std::nullopt;
    }
    if (!isatty(STDIN_FILENO)) {
        error = "no password given: use --password-file, --password-env or QNSNWSM_PASSWORD";
        return std::nullopt;
    }
    std::cerr << "Password for " << options.user << ": " << std::flush;
    std::string password;
    {
        EchoOff echoOff;
        std::getline(std::cin, password);
    }
    std::cerr << '\n';
    return password;
}

}  // namespace qnhost
