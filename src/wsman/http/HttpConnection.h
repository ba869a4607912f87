// One kept-alive HTTP(S) connection to a WS-Management endpoint, driven through a libcurl easy
// handle. libcurl only moves bytes: authentication headers are built by the caller, because the
// security context that authenticates must also seal the messages, and libcurl's own
// NTLM/Negotiate does not expose it.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

#include "wsman/Channel.h"
#include "wsman/http/CurlHandles.h"
#include "wsman/http/TlsPeerCheck.h"

namespace wsman::http {

struct HttpResponse {
    CURLcode result = CURLE_OK;
    long osErrno = 0;         // errno of a failed connect
    std::string failureText;  // libcurl's error text when result != CURLE_OK
    bool pinMismatch = false;
    bool caFileUnusable = false;
    long status = 0;
    std::string contentType;
    std::vector<std::string> wwwAuthenticate;
    std::string body;
    // The transfer went over a connection other than the previous transfer's: any security
    // context bound to the old connection is gone.
    bool newConnection = false;
};

class HttpConnection {
  public:
    explicit HttpConnection(const ChannelSettings& settings);

    // POSTs `body` (may be empty: Content-Length 0) with the standard WinRM client headers plus
    // `extraHeaders` ("Authorization: ...", "Content-Type: ..."). The response is this connection's own
    // and valid until the next Post; libcurl writes its body into the buffer of the previous one, which
    // keeps its capacity, so a stream of replies costs no allocation (and no fresh pages) each.
    HttpResponse& Post(const std::vector<std::string>& extraHeaders, const std::string& body);

    // Gives the reply buffer's memory back when it is large, for a session that goes idle.
    void ReleaseReplyBuffer();

    // Closes the connection; the next Post opens a new one.
    void Drop();

    // True when the connection of the last transfer is still open and the server has neither closed
    // it nor sent anything unasked. Checked before a body that must not be lost is sent.
    bool IsAlive() const;

    // DER of the server certificate seen on the current connection (HTTPS), else empty.
    const std::string& ServerCertificateDer() const { return tls_->serverCertificateDer; }

  private:
    void Configure();

    ChannelSettings settings_;
    std::unique_ptr<TlsPeerCheck> tls_;  // its address is handed to libcurl
    CurlEasy curl_;
    HttpResponse response_;
    long localPort_ = 0;
    bool connected_ = false;
    bool largeReads_ = false;  // libcurl reads in large steps while an enumeration brings large replies
};

}  // namespace wsman::http
