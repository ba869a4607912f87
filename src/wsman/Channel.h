// One authenticated (and, over HTTP, sealed) conversation with one WS-Management endpoint.
// The SOAP layer hands it plaintext envelopes and gets plaintext replies back; everything below
// (the kept-alive connection, the 401 handshake, Negotiate/NTLM/Kerberos/Basic, multipart/encrypted,
// TLS checks, re-authentication after a lost connection) happens inside.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "wsman/core/HResult.h"
#include "wsman/core/SpareBuffers.h"

namespace wsman {

enum class AuthScheme { Negotiate, Kerberos, Ntlm, Basic };

struct ChannelSettings {
    std::string url;       // "http://host:5985/wsman" or "https://host:5986/wsman"
    std::string userName;  // "DOMAIN\\user", "user@REALM" or "user"; empty: the caller's own Kerberos ticket
    std::string password;
    // Negotiate, Kerberos and Ntlm seal every message over HTTP (multipart/encrypted) whatever
    // allowUnencrypted says; over HTTPS TLS protects the body.
    AuthScheme scheme = AuthScheme::Negotiate;
    bool allowUnencrypted = false;  // Basic (a password and a plain body) over HTTP only when this is set
    std::string caFile;             // PEM bundle trusted in addition to the system store
    // Hex SHA-256 of the server certificate (DER; ':' and case ignored); empty: not pinned. Checked
    // on top of the CA check, or alone when skipCaCheck is set.
    std::string pinnedSha256;
    bool skipCaCheck = false;  // independent of the name check, as on Windows
    bool skipNameCheck = false;
    long connectTimeoutMs = 30000;
    long operationTimeoutMs = 60000;      // the request timeout is this plus the margin, so no call can hang
    long requestTimeoutMarginMs = 15000;  // covers the network around the server's own operation timeout
};

struct Exchange {
    long httpStatus = 0;      // 200, or 500 with a SOAP fault in `body`
    std::string contentType;  // of the (unsealed) body
    std::string body;         // plaintext reply
};

class Channel {
  public:
    virtual ~Channel() = default;
    // Sends one SOAP envelope. Returns 0 when an HTTP reply with a body arrived (200 or 500; see
    // `out.httpStatus`), otherwise the HRESULT the Windows client reports for the transport situation
    // (name not resolved, refused, timeout, 401 after authentication, 404, TLS failures, ...; the
    // table is in wsman/core/ErrorCodes.h).
    // A 500 is handed up (return 0) only when its body is XML, so the SOAP layer parses the fault; a
    // 500 with an empty or non-XML body returns 0x80338170 (ERROR_WSMAN_HTTP_STATUS_SERVER_ERROR).
    // A 200 with an empty body returns 0 with an empty `out.body`. `out.body` keeps its capacity.
    // A sealed body is never resent: a failure after sending one drops the connection and its context.
    virtual HResult Send(const std::string& envelope, Exchange& out) = 0;
    // A short English text for the last failure (for traces; never contains the password).
    virtual std::string LastErrorDetail() const = 0;
    // Reply buffers are kept from one Send to the next (an enumeration's replies reuse them); this gives
    // back those larger than kKeptReplyCapacity when no reply follows soon.
    virtual void ReleaseBuffers() {}
};

std::unique_ptr<Channel> CreateChannel(const ChannelSettings& settings);

}  // namespace wsman
