// The server side of Negotiate: one acceptor credential for the whole server (NTLM users from a file,
// Kerberos from a keytab) and one security context per TCP connection, as http.sys binds it.
#pragma once

#include <gssapi/gssapi.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "server/EncryptedBody.h"

namespace qnsim {

class AcceptorCredential {
  public:
    // One credential for every mechanism: gss-ntlmssp takes raw NTLM and SPNEGO(NTLM) with it, krb5 takes
    // Kerberos. A SPNEGO-only credential would refuse raw NTLM tokens, which pywinrm sends.
    static std::unique_ptr<AcceptorCredential> Acquire(const std::string& ntlmUsersFile,
                                                       const std::string& keytab, std::string& error);
    ~AcceptorCredential();
    AcceptorCredential(const AcceptorCredential&) = delete;
    AcceptorCredential& operator=(const AcceptorCredential&) = delete;
    gss_cred_id_t Handle() const { return credential_; }
    // The credential named for the host the client addressed ("HTTP@<host>", from the Host header).
    // gss-ntlmssp puts the acceptor's name into the challenge as the target name and its initiator refuses
    // a challenge whose target differs from the name it asked for, so a client that connects by
    // 127.0.0.1 needs an acceptor named HTTP@127.0.0.1. Falls back to HTTP@localhost.
    gss_cred_id_t HandleFor(std::string_view hostHeader) const;

  private:
    AcceptorCredential(gss_cred_id_t credential, std::string ntlmUsersFile, std::string keytab)
        : credential_(credential), ntlmUsersFile_(std::move(ntlmUsersFile)), keytab_(std::move(keytab)) {}
    gss_cred_id_t credential_ = GSS_C_NO_CREDENTIAL;  // HTTP@localhost
    std::string ntlmUsersFile_;
    std::string keytab_;
    mutable std::mutex perHostMutex_;
    mutable std::map<std::string, gss_cred_id_t> perHost_;
};

enum class Mechanism { Ntlm, Kerberos };

class SecurityContext {
  public:
    enum class Step { Continue, Complete, Failed };
    struct StepResult {
        Step step = Step::Failed;
        std::string outputToken;  // to send in WWW-Authenticate (may be empty on Complete)
    };

    SecurityContext() = default;
    ~SecurityContext();
    SecurityContext(const SecurityContext&) = delete;
    SecurityContext& operator=(const SecurityContext&) = delete;

    // `channelBinding`: over HTTPS the TLS channel binding's application data, empty over HTTP.
    StepResult Accept(const AcceptorCredential& credential, std::string_view token,
                      std::string_view hostHeader = {}, std::string_view channelBinding = {});
    bool Established() const { return established_; }
    const std::string& PeerName() const { return peerName_; }  // "DOMAIN\user" or "user@REALM"
    Mechanism Mech() const { return mechanism_; }

    // Null when the signature does not verify or the body cannot be unsealed; the stream cipher is then out
    // of step for good and the context must be dropped.
    std::optional<std::string> Unseal(const EncryptedBody& body);
    std::optional<EncryptedBody> Seal(std::string_view plaintext, std::string_view protocol);

  private:
    gss_ctx_id_t context_ = GSS_C_NO_CONTEXT;
    bool established_ = false;
    std::string peerName_;
    Mechanism mechanism_ = Mechanism::Ntlm;
};

}  // namespace qnsim
