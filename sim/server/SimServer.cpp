#include "server/SimServer.h"

#include <fstream>
#include <optional>
#include <sstream>

#include "model/ComputerModel.h"
#include "server/ChannelBinding.h"
#include "server/FaultRules.h"
#include "server/GssAcceptor.h"
#include "server/HttpDaemon.h"
#include "server/RequestLog.h"
#include "server/UsersFile.h"
#include "server/WinrmEndpoint.h"
#include "server/WsmanService.h"

namespace qnsim {
namespace {

std::optional<std::string> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

class RunningSimServer : public SimServer {
  public:
    bool Start(const SimOptions& options, std::unique_ptr<ComputerModel> model, std::string& error) {
        if (!model) {
            error = "no computer model";
            return false;
        }
        if (!options.usersFile.empty()) {
            users_ = UsersFile::Load(options.usersFile, error);
            if (!users_) return false;
            // gss-ntlmssp reads exactly three fields per line, so it gets a copy without the rights marks.
            ntlmKeyfile_ = TemporaryFile::Create(users_->NtlmKeyfileText(), error);
            if (!ntlmKeyfile_) return false;
        }
        if (ntlmKeyfile_ || !options.keytabFile.empty()) {
            credential_ = AcceptorCredential::Acquire(ntlmKeyfile_ ? ntlmKeyfile_->Path() : std::string{},
                                                      options.keytabFile, error);
            if (!credential_) return false;
        }
        if (!options.faultsFile.empty()) {
            rules_ = FaultRules::Load(options.faultsFile, error);
            if (!rules_) return false;
        }
        if (!options.logFile.empty()) {
            log_ = RequestLog::Open(options.logFile, error);
            if (!log_) return false;
        }
        ServiceSettings serviceSettings;
        serviceSettings.enumerationTimeout = std::chrono::milliseconds(options.enumerationTimeoutMs);
        serviceSettings.maxItemsInEnumerateResponse =
            std::max<std::uint32_t>(options.maxItemsInEnumerateResponse, 1);
        serviceSettings.maxEnvelopeSize = options.maxEnvelopeSize;
        service_ =
            std::make_unique<WsmanService>(std::shared_ptr<ComputerModel>(std::move(model)), serviceSettings);
        HttpSettings http;
        http.port = options.port;
        http.https = options.https;
        EndpointSettings endpoint{options.https, options.allowUnencrypted, options.basic, {}};
        if (options.https) {
            const auto certificate = ReadFile(options.certFile);
            const auto key = ReadFile(options.keyFile);
            if (!certificate || !key) {
                error = "--https needs a readable PEM certificate (--cert) and key (--key)";
                return false;
            }
            const auto binding = TlsServerEndPointBinding(*certificate);
            if (!binding) {
                error = options.certFile + ": no PEM certificate";
                return false;
            }
            http.certificatePem = *certificate;
            http.keyPem = *key;
            endpoint.channelBinding = *binding;
        }
        endpoint_ = std::make_unique<WinrmEndpoint>(endpoint, *service_, credential_.get(),
                                                    users_ ? &*users_ : nullptr, rules_.get(), log_.get());
        daemon_ = HttpDaemon::Start(http, *endpoint_, error);
        return daemon_ != nullptr;
    }

    ~RunningSimServer() override { Stop(); }
    std::uint16_t Port() const override { return daemon_ ? daemon_->Port() : 0; }
    void Stop() override {
        if (daemon_) daemon_->Stop();
    }

  private:
    std::optional<UsersFile> users_;
    std::unique_ptr<TemporaryFile> ntlmKeyfile_;
    std::unique_ptr<AcceptorCredential> credential_;
    std::unique_ptr<FaultRules> rules_;
    std::unique_ptr<RequestLog> log_;
    std::unique_ptr<WsmanService> service_;
    std::unique_ptr<WinrmEndpoint> endpoint_;
    std::unique_ptr<HttpDaemon> daemon_;  // last: stopped and destroyed before what its threads use
};

}  // namespace

std::unique_ptr<SimServer> StartSimServer(const SimOptions& options, std::unique_ptr<ComputerModel> model,
                                          std::string& error) {
    auto server = std::make_unique<RunningSimServer>();
    if (!server->Start(options, std::move(model), error)) return nullptr;
    return server;
}

}  // namespace qnsim
