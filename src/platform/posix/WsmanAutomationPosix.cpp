// POSIX WinRM automation objects: until the portable client is wired in, sessions cannot be created.
#include "platform/WsmanAutomation.h"

namespace qn::platform {

namespace {

constexpr HResult kNotImplemented = ToHResult(0x80004001);  // E_NOTIMPL

class PendingWsman final : public Wsman {
public:
    HResult CreateConnectionOptions(std::unique_ptr<WsmanConnectionOptions>& options) override {
        options.reset();
        return kNotImplemented;
    }
    HResult CreateSession(const std::string&, std::int32_t, WsmanConnectionOptions*,
                          std::unique_ptr<WsmanSession>& session) override {
        session.reset();
        return kNotImplemented;
    }
};

}  // namespace

HResult CreatePlatformWsman(std::unique_ptr<Wsman>& wsman) {
    wsman = std::make_unique<PendingWsman>();
    return kOk;
}

}  // namespace qn::platform
