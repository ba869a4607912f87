// The initiator credential of a channel, acquired once and reused by every re-authentication
// (so Kerberos asks the KDC for a ticket-granting ticket once, not per connection).
#pragma once

#include <string>

#include "wsman/security/GssHandles.h"
#include "wsman/security/GssMechanisms.h"

namespace wsman::security {

// Why a credential could not be acquired, as far as the channel's error code cares.
enum class CredentialProblem {
    Rejected,     // the KDC refused the user or password
    NoAuthority,  // no KDC could be reached for the realm
    Other,
};

class GssCredentials {
  public:
    // An empty user name means the caller's own identity (Kerberos ticket cache, gss-ntlmssp's
    // default credentials), as a Windows client uses the logged-on user.
    GssCredentials(GssMechanism mechanism, std::string userName, std::string password);

    // Acquires the credential on first use. False with `error` and `problem` set (never containing
    // the password).
    bool Acquire(std::string& error, CredentialProblem& problem);
    // Drops the acquired credential (an expired ticket); the next Acquire asks again.
    void Forget();
    bool UsesCallerIdentity() const { return userName_.empty(); }
    GssMechanism Mechanism() const { return mechanism_; }
    gss_cred_id_t Handle() const { return credential_.Get(); }

  private:
    GssMechanism mechanism_;
    std::string userName_;
    std::string password_;
    GssCredential credential_;
    bool acquired_ = false;
};

}  // namespace wsman::security
