// The Channel of a WinRM session: one kept-alive connection, the 401 handshake over it, sealing
// over HTTP, Basic where allowed, and re-authentication whenever the connection was replaced.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "wsman/Channel.h"
#include "wsman/http/Endpoint.h"
#include "wsman/http/HttpConnection.h"
#include "wsman/security/GssCredentials.h"
#include "wsman/security/GssSecurityContext.h"

namespace wsman {

class SessionChannel final : public Channel {
  public:
    explicit SessionChannel(const ChannelSettings& settings);

    HResult Send(const std::string& envelope, Exchange& out) override;
    std::string LastErrorDetail() const override { return lastError_; }
    void ReleaseBuffers() override;

  private:
    bool UsesGss() const { return settings_.scheme != AuthScheme::Basic; }
    bool SealsMessages() const { return UsesGss() && !endpoint_->https; }

    HResult SendBasic(const std::string& envelope, Exchange& out);
    HResult SendSealed(const std::string& envelope, Exchange& out);
    HResult SendOverTls(const std::string& envelope, Exchange& out);

    HResult EnsureAuthenticated();
    HResult Authenticate();
    HResult AuthenticateOnce();
    HResult RunHandshake(const std::string& channelBinding);
    HResult ReadReply(http::HttpResponse& response, Exchange& out);
    HResult Fail(HResult code, std::string detail);
    HResult FailTransfer(const http::HttpResponse& response);
    void DropSession();

    ChannelSettings settings_;
    std::optional<http::Endpoint> endpoint_;
    http::HttpConnection connection_;
    std::unique_ptr<security::GssCredentials> credentials_;
    std::unique_ptr<security::GssSecurityContext> context_;  // lives as long as its connection
    std::chrono::steady_clock::time_point lastExchange_;
    std::string lastError_;
    bool failedBeforeServer_ = false;  // the last handshake failed in the first local step
};

}  // namespace wsman
