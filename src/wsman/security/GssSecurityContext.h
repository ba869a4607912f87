// One initiator security context: the token exchange with the server, then sealing and unsealing
// of messages with the keys it established. Bound to one TCP connection; a new connection needs a
// new context.
#pragma once

#include <string>

#include "wsman/security/GssCredentials.h"
#include "wsman/security/GssHandles.h"

namespace wsman::security {

class GssSecurityContext {
  public:
    enum class Status {
        Continue,  // send `outputToken`, feed the server's answer to the next Step
        Complete,  // established (there may still be a last `outputToken` to send)
        Failed,
    };
    struct StepResult {
        Status status = Status::Failed;
        std::string outputToken;
        OM_uint32 major = 0;  // GSS major status of a failure (GSS_S_NO_CRED, GSS_S_FAILURE, ...)
        std::string error;
    };

    // `targetHost` names the service "HTTP@<host>". `channelBinding` is the application data of the
    // channel bindings ("tls-server-end-point:" + hash) or empty for none.
    GssSecurityContext(const GssCredentials& credentials, const std::string& targetHost,
                       std::string channelBinding);

    // First call with an empty `inputToken`.
    StepResult Step(const std::string& inputToken);
    bool IsComplete() const { return complete_; }
    bool CanSeal() const { return (grantedFlags_ & GSS_C_CONF_FLAG) != 0; }

    // Seals `plaintext` (never empty). `header` is what precedes the sealed data on the wire
    // (NTLM: the 16-byte signature; Kerberos: the RFC 4121 token header); `sealed` follows it.
    // Kerberos may pad: `sealed` is then longer than the plaintext.
    bool Wrap(const std::string& plaintext, std::string& header, std::string& sealed, std::string& error);
    // Unseals `token` (header and sealed data back to back) and appends the plaintext to `plaintext`;
    // refuses messages that were only signed, not encrypted. Where the mechanism can (Kerberos), the token
    // is decrypted in place; its bytes are undefined afterwards either way.
    bool Unwrap(char* token, std::size_t length, std::string& plaintext, std::string& error);

  private:
    bool WrapWithIov(const std::string& plaintext, std::string& header, std::string& sealed,
                     std::string& error);

    const GssCredentials& credentials_;
    std::string targetHost_;
    std::string channelBinding_;
    GssName target_;
    GssContext context_;
    OM_uint32 grantedFlags_ = 0;
    bool complete_ = false;
    bool iovUnavailable_ = false;  // gss-ntlmssp has no gss_wrap_iov nor gss_unwrap_iov; learned on first use
};

}  // namespace wsman::security
