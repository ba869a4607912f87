// The server side of GSSAPI for tests: accepts NTLM (from a users file) and SPNEGO with the same
// mechanism plugins the client uses.
#pragma once

#include <string>

#include "wsman/security/GssHandles.h"

namespace wsman::test {

// Users file lines: DOMAIN:user:password. The acceptor must be named (gss-ntlmssp refuses a
// nameless credential with a key file).
security::GssCredential AcquireAcceptorCredential(const std::string& usersFile);

class GssTestAcceptor {
  public:
    explicit GssTestAcceptor(gss_cred_id_t credential) : credential_(credential) {}

    // Returns the major status; `output` gets the token for the client.
    OM_uint32 Step(const std::string& input, std::string& output);
    bool IsComplete() const { return complete_; }

    // gss_wrap split as WinRM frames it: `header` is the part before the sealed data.
    bool Wrap(const std::string& plaintext, std::string& header, std::string& sealed);
    bool Unwrap(const std::string& token, std::string& plaintext);

  private:
    gss_cred_id_t credential_;
    security::GssContext context_;
    bool complete_ = false;
};

}  // namespace wsman::test
