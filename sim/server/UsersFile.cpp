#include "server/UsersFile.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace qnsim {
namespace {

bool EqualsIgnoreCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::vector<std::string> Split(const std::string& line, char separator) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = line.find(separator, start);
        fields.push_back(line.substr(start, end == std::string::npos ? std::string::npos : end - start));
        if (end == std::string::npos) return fields;
        start = end + 1;
    }
}

// Splits "DOMAIN\user" or "user@REALM" into domain and user.
std::pair<std::string, std::string> SplitName(const std::string& name) {
    if (const std::size_t slash = name.find('\\'); slash != std::string::npos)
        return {name.substr(0, slash), name.substr(slash + 1)};
    if (const std::size_t at = name.rfind('@'); at != std::string::npos)
        return {name.substr(at + 1), name.substr(0, at)};
    return {"", name};
}

}  // namespace

std::optional<UsersFile> UsersFile::Load(const std::string& path, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot be read";
        return std::nullopt;
    }
    UsersFile file;
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields = Split(line, ':');
        // The password may itself contain ':' only when no rights field follows; keep the format strict.
        if (fields.size() < 3 || fields.size() > 4 || fields[1].empty() ||
            (fields.size() == 4 && fields[3] != "norights")) {
            error = path + ":" + std::to_string(number) + ": expected DOMAIN:user:password[:norights]";
            return std::nullopt;
        }
        file.accounts_.push_back({fields[0], fields[1], fields[2], fields.size() == 3});
    }
    return file;
}

const UserAccount* UsersFile::Find(const std::string& authenticatedName) const {
    const auto [domain, user] = SplitName(authenticatedName);
    for (const UserAccount& account : accounts_)
        if (EqualsIgnoreCase(account.user, user) &&
            (domain.empty() || EqualsIgnoreCase(account.domain, domain)))
            return &account;
    return nullptr;
}

const UserAccount* UsersFile::CheckBasic(const std::string& userName, const std::string& password) const {
    const UserAccount* account = Find(userName);
    return account != nullptr && account->password == password ? account : nullptr;
}

std::string UsersFile::NtlmKeyfileText() const {
    std::string text;
    for (const UserAccount& account : accounts_)
        text += account.domain + ":" + account.user + ":" + account.password + "\n";
    return text;
}

std::unique_ptr<TemporaryFile> TemporaryFile::Create(const std::string& content, std::string& error) {
    const char* tmp = std::getenv("TMPDIR");
    std::string pattern =
        std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/qnsnwsm-sim-users-XXXXXX";
    const int fd = mkstemp(pattern.data());
    if (fd < 0) {
        error = "cannot create a temporary file for the NTLM users";
        return nullptr;
    }
    std::unique_ptr<TemporaryFile> file(new TemporaryFile(pattern));
    const bool written = write(fd, content.data(), content.size()) == static_cast<ssize_t>(content.size());
    close(fd);
    if (!written) {
        error = "cannot write " + pattern;
        return nullptr;
    }
    return file;
}

TemporaryFile::~TemporaryFile() {
    unlink(path_.c_str());
}

}  // namespace qnsim
