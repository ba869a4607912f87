#include "wsman/Channel.h"

#include "wsman/SessionChannel.h"

namespace wsman {

std::unique_ptr<Channel> CreateChannel(const ChannelSettings& settings) {
    return std::make_unique<SessionChannel>(settings);
}

}  // namespace wsman
