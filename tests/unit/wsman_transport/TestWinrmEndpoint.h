// Handler for TestHttpServer that behaves like a WinRM listener with AllowUnencrypted=false:
// Negotiate handshake per connection, multipart/encrypted requests, sealed replies. Its framing
// code is written independently of the client's, so a shared misreading cannot hide.
#pragma once

#include <gssapi/gssapi.h>

#include <mutex>
#include <string>
#include <vector>

#include "TestHttpServer.h"

namespace wsman::test {

using namespace qntest;

enum class ReplyStyle { Sealed, Clear, Tampered };

struct EndpointLog {
    std::mutex mutex;
    std::vector<std::string> received;       // unsealed request bodies
    std::vector<std::string> peers;          // authenticated user per completed handshake
    std::vector<std::size_t> headerLengths;  // of each sealed request (NTLM 16, Kerberos AES 60)
    std::vector<std::string> firstTokens;    // per handshake: "NTLM" (raw), "SPNEGO", "Kerberos" or "?"
    int clearBodiesRefused = 0;
};

struct EndpointOptions {
    ReplyStyle replyStyle = ReplyStyle::Sealed;
    int replyStatus = 200;
    bool closeAfterReply = false;  // drop the connection after each SOAP reply
    bool overTls = false;          // plain SOAP bodies in and out, as over HTTPS
    std::string channelBinding;    // what the client must bind to (HTTPS)
};

Handler MakeWinrmHandler(gss_cred_id_t acceptorCredential, EndpointLog& log, EndpointOptions options = {});

// The framing a Windows server uses, built by hand.
std::string FrameEncrypted(const std::string& header, const std::string& sealed, std::size_t originalLength);

}  // namespace wsman::test
