// Who sent an HTTP request: Negotiate (NTLM or Kerberos, bound to the TCP connection as http.sys binds it)
// or Basic (proved again on every request).
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "server/GssAcceptor.h"
#include "server/HttpDaemon.h"
#include "server/UsersFile.h"

namespace qnsim {

// What a connection remembers between requests.
struct WinrmSession : ConnectionSession {
    std::unique_ptr<SecurityContext> security;
    std::string schemeWord;   // "Negotiate" or "Kerberos", as the client named it
    std::string schemeLabel;  // for the log: "Negotiate/NTLM", "Kerberos/Kerberos", ...
    const UserAccount* account = nullptr;

    bool Authenticated() const { return security && security->Established(); }
    void Forget() {
        security.reset();
        schemeLabel.clear();
        account = nullptr;
    }
};

struct AuthenticationResult {
    std::optional<HttpReply> refusal;      // set: answer with it (401 legs and refusals)
    std::string scheme;                    // for the log
    const UserAccount* account = nullptr;  // null when the account is not in the users file (Kerberos)
    std::string finalToken;                // the server's last token, sent with the answer
    bool negotiated = false;               // the connection's security context speaks for this request
};

class HttpAuthentication {
  public:
    // `channelBinding`: over HTTPS the server certificate's tls-server-end-point binding, which Negotiate
    // clients bind their authentication to; empty over HTTP.
    HttpAuthentication(const AcceptorCredential* credential, const UsersFile* users, bool basic,
                       std::string channelBinding = {})
        : credential_(credential), users_(users), basic_(basic), channelBinding_(std::move(channelBinding)) {}

    AuthenticationResult Authenticate(const HttpRequest& request, WinrmSession& session) const;
    HttpReply Challenge() const;  // 401 offering the enabled schemes

  private:
    AuthenticationResult Negotiate(const std::string& scheme, const std::string& credentials,
                                   const std::string& host, WinrmSession& session) const;
    AuthenticationResult Basic(const std::string& credentials) const;
    AuthenticationResult Refused(std::string scheme) const;

    const AcceptorCredential* credential_;
    const UsersFile* users_;
    bool basic_;
    std::string channelBinding_;
};

}  // namespace qnsim
