// POSIX WinRM automation objects over the portable WS-Management client. They behave like Windows'
// WSMan/IWSManSession/IWSManEnumerator for the calls the module makes, with the same HRESULTs.
//
// Credentials: the module always passes WSManFlagCredUsernamePassword and sets a user name only when it
// has one. Windows' client would refuse a session with the flag and no user name
// (ERROR_WSMAN_CLIENT_CREDENTIALS_NEEDED); here an empty user name means the caller's own Kerberos
// credentials (its ticket cache), which is what the module means by leaving the name empty.
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/ConfigStore.h"
#include "platform/WsmanAutomation.h"
#include "wsman/client/ClientSession.h"
#include "wsman/client/ClientSettings.h"
#include "wsman/client/ConnectionUrl.h"
#include "wsman/core/ConfigurationKeys.h"
#include "wsman/core/ErrorCodes.h"

namespace qn::platform {

namespace {

constexpr HResult kOutOfMemory = ToHResult(0x8007000E);  // E_OUTOFMEMORY

// No exception may cross the seam: report the failure as Windows' COM objects would.
template <typename Call>
HResult Guarded(Call call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return kOutOfMemory;
    } catch (const std::exception&) {
        return wsman::errors::kUnspecifiedFailure;
    }
}

wsman::client::ClientSettings LoadMachineClientSettings() {
    return wsman::client::LoadClientSettings([](const std::string& valueName) -> std::optional<std::string> {
        std::string value;
        if (ReadConfigString(ConfigRoot::LocalMachine, wsman::config::kWinRMKey, valueName.c_str(), value) !=
            kConfigOk) {
            return std::nullopt;
        }
        return value;
    });
}

class PosixConnectionOptions final : public WsmanConnectionOptions {
  public:
    HResult SetUserName(const std::string& userName) override {
        userName_ = userName;
        return kOk;
    }
    HResult SetPassword(const std::string& password) override {
        password_ = password;
        return kOk;
    }
    const std::string& UserName() const { return userName_; }
    const std::string& Password() const { return password_; }

  private:
    std::string userName_;
    std::string password_;
};

class PosixEnumerator final : public WsmanEnumerator {
  public:
    explicit PosixEnumerator(std::unique_ptr<wsman::client::EnumerationStream> stream)
        : stream_(std::move(stream)) {}

    HResult AtEndOfStream(bool& atEnd) override {
        return Guarded([&] { return stream_->AtEnd(atEnd); });
    }
    HResult ReadItem(EnumeratedItem& item) override {
        return Guarded([&] { return stream_->Read(item); });
    }

  private:
    std::unique_ptr<wsman::client::EnumerationStream> stream_;
};

class PosixSession final : public WsmanSession {
  public:
    explicit PosixSession(std::unique_ptr<wsman::client::ClientSession> session)
        : session_(std::move(session)) {}

    HResult Enumerate(const std::string& resourceUri, const std::string& filter, const std::string& dialect,
                      std::int32_t /*flags*/, std::unique_ptr<WsmanEnumerator>& enumerator) override {
        enumerator.reset();
        return Guarded([&] {
            std::unique_ptr<wsman::client::EnumerationStream> stream;
            const HResult result = session_->Enumerate(resourceUri, filter, dialect, stream);
            if (result == kOk) enumerator = std::make_unique<PosixEnumerator>(std::move(stream));
            return result;
        });
    }

    HResult Invoke(const std::string& action, const std::string& resourceUri, const std::string& parameters,
                   std::int32_t /*flags*/, std::string& response) override {
        response.clear();
        return Guarded([&] { return session_->Invoke(action, resourceUri, parameters, response); });
    }

  private:
    std::unique_ptr<wsman::client::ClientSession> session_;
};

class PosixWsman final : public Wsman {
  public:
    PosixWsman() : settings_(LoadMachineClientSettings()) {}

    HResult CreateConnectionOptions(std::unique_ptr<WsmanConnectionOptions>& options) override {
        options = std::make_unique<PosixConnectionOptions>();
        return kOk;
    }

    HResult CreateSession(const std::string& connection, std::int32_t flags, WsmanConnectionOptions* options,
                          std::unique_ptr<WsmanSession>& session) override {
        session.reset();
        return Guarded([&] {
            const auto url = wsman::client::ParseConnectionUrl(connection);
            if (!url) return wsman::errors::kConnectionStringInvalid;
            const auto* credentials = dynamic_cast<const PosixConnectionOptions*>(options);
            if (options != nullptr && credentials == nullptr) return wsman::errors::kUnspecifiedFailure;
            const bool hasUserName = credentials != nullptr && !credentials->UserName().empty();
            // Credentials given without the flag that announces them: Windows refuses this combination.
            if (hasUserName && (flags & kWsmanFlagCredUsernamePassword) == 0) {
                return wsman::errors::kCredentialsFlagNeeded;
            }
            auto channelSettings = wsman::client::MakeChannelSettings(
                settings_, url->ToString(), hasUserName ? credentials->UserName() : std::string(),
                hasUserName ? credentials->Password() : std::string());
            const auto limits = wsman::client::MakeConversationLimits(settings_);
            session = std::make_unique<PosixSession>(std::make_unique<wsman::client::ClientSession>(
                std::move(channelSettings), limits, &wsman::CreateChannel));
            return kOk;
        });
    }

  private:
    wsman::client::ClientSettings settings_;
};

}  // namespace

HResult CreatePlatformWsman(std::unique_ptr<Wsman>& wsman) {
    return Guarded([&] {
        wsman = std::make_unique<PosixWsman>();
        return kOk;
    });
}

}  // namespace qn::platform
