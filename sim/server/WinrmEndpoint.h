// POST /wsman as Windows' WinRM service answers it: authentication, message sealing, the refusal of clear
// bodies over HTTP, fault injection, then the WS-Management service.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "server/FaultRules.h"
#include "server/HttpAuthentication.h"
#include "server/HttpDaemon.h"
#include "server/RequestLog.h"
#include "server/WsmanService.h"

namespace qnsim {

struct EndpointSettings {
    bool https = false;
    bool allowUnencrypted = false;
    bool basic = false;
    std::string channelBinding;  // HTTPS: tls-server-end-point of the server certificate
};

class WinrmEndpoint : public HttpHandler {
  public:
    // Every pointer may be null: no Negotiate without a credential, no Basic without users, no injection
    // without rules, no log without a log.
    WinrmEndpoint(EndpointSettings settings, WsmanService& service, const AcceptorCredential* credential,
                  const UsersFile* users, FaultRules* rules, RequestLog* log)
        : settings_(settings),
          service_(service),
          authentication_(credential, users, settings.basic, settings.channelBinding),
          rules_(rules),
          log_(log) {}

    std::unique_ptr<ConnectionSession> NewSession() override;
    HttpReply Handle(ConnectionSession& session, const HttpRequest& request) override;

  private:
    struct Answer {
        ServiceReply reply;
        std::optional<FaultEffect> effect;
    };
    Answer AnswerSoap(const UserAccount* account, const WsmanRequest* request);
    void Log(const HttpRequest& request, const std::string& scheme, const WsmanRequest* wsman,
             unsigned status);

    EndpointSettings settings_;
    WsmanService& service_;
    HttpAuthentication authentication_;
    FaultRules* rules_;
    RequestLog* log_;
    std::atomic<std::uint64_t> soapRequests_{0};
};

}  // namespace qnsim
