// The simulator's accounts: lines DOMAIN:user:password, optionally followed by ":norights" for an account
// that authenticates but is not allowed to use WinRM (not an administrator nor in Remote Management Users).
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qnsim {

struct UserAccount {
    std::string domain;
    std::string user;
    std::string password;
    bool hasRights = true;
};

class UsersFile {
  public:
    // Null and `error` (file and line) when unreadable or malformed; blank lines and '#' comments are
    // skipped.
    static std::optional<UsersFile> Load(const std::string& path, std::string& error);

    const std::vector<UserAccount>& Accounts() const { return accounts_; }
    // The account an authenticated name belongs to: "DOMAIN\user" (NTLM), "user@REALM" (Kerberos) or a
    // Basic user name with or without "DOMAIN\". User names compare case-insensitively.
    const UserAccount* Find(const std::string& authenticatedName) const;
    const UserAccount* CheckBasic(const std::string& userName, const std::string& password) const;
    // The lines in gss-ntlmssp's own format (exactly three fields).
    std::string NtlmKeyfileText() const;

  private:
    std::vector<UserAccount> accounts_;
};

// A file that exists while this object lives (the gss-ntlmssp copy of the users file).
class TemporaryFile {
  public:
    static std::unique_ptr<TemporaryFile> Create(const std::string& content, std::string& error);
    ~TemporaryFile();
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    const std::string& Path() const { return path_; }

  private:
    explicit TemporaryFile(std::string path) : path_(std::move(path)) {}
    std::string path_;
};

}  // namespace qnsim
