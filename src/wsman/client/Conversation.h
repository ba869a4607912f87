// One session's exchanges with its endpoint: builds request headers (constant SessionId, fresh MessageID),
// opens the channel on the first request and keeps it for the session's life, and checks every reply.
// Shared by the session and its enumerators, so an enumerator outlives nothing it needs.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "wsman/Channel.h"
#include "wsman/soap/Envelope.h"
#include "wsman/soap/Reply.h"

namespace wsman::client {

using ChannelFactory = std::function<std::unique_ptr<Channel>(const ChannelSettings&)>;

struct ConversationLimits {
    long maxEnvelopeSize = 512000;
    long maxElements = 32000;
};

class Conversation {
  public:
    Conversation(ChannelSettings settings, ConversationLimits limits, ChannelFactory factory);

    soap::RequestHeader NewHeader(const std::string& resourceUri, const std::string& action,
                                  std::vector<soap::Selector> selectors = {}) const;

    // Sends the envelope built with `header` and checks the reply against its MessageID and Action.
    HResult Call(const soap::RequestHeader& header, const std::string& envelope, soap::CheckedReply& reply);

    long MaxElements() const { return limits_.maxElements; }
    // Text of the last failure: the fault's message or the transport's detail.
    const std::string& LastErrorDetail() const { return lastErrorDetail_; }

  private:
    void ReleaseBuffers();

    ChannelSettings settings_;
    ConversationLimits limits_;
    ChannelFactory factory_;
    std::unique_ptr<Channel> channel_;
    Exchange exchange_;  // kept, with the channel's buffers, while an enumeration goes on
    std::string sessionId_;
    std::string lastErrorDetail_;
};

}  // namespace wsman::client
