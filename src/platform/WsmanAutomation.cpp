#include "platform/WsmanAutomation.h"

#include <atomic>

namespace qn::platform {

namespace {
std::atomic<WsmanFactory> g_factory{nullptr};
}

void SetWsmanFactory(WsmanFactory factory) {
    g_factory.store(factory);
}

HResult CreateWsman(std::unique_ptr<Wsman>& wsman) {
    wsman.reset();
    const WsmanFactory factory = g_factory.load();
    return factory != nullptr ? factory(wsman) : CreatePlatformWsman(wsman);
}

}  // namespace qn::platform
