// One session's exchanges with its endpoint: builds request headers (constant SessionId, fresh MessageID),
// opens the channel on the first request and keeps it for the session's life, and checks every reply.
// Shared by the session and its enumerators, so an enumerator outlives nothing it needs.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "wsman/Channel.h"
#include "wsman/soap/Envelope.h"
#include "wsman/soap/Reply.h"

namespace wsman::client {

using ChannelFactory = std::function<std::unique_ptr<Channel>(const ChannelSettings&)>;

// What one enumeration may cost at most, whatever the server answers.
struct EnumerationBounds {
    long timeoutMs = 120000;               // from the Enumerate to the last Pull sent
    std::size_t maxItemBytes = 32u << 20;  // item text handed out (the caller keeps it all)
    long maxEmptyBatches = 50;             // empty batches in a row that do not end the sequence
};

struct ConversationLimits {
    long maxEnvelopeSize = 512000;
    long maxElements = 32000;
    EnumerationBounds enumeration = {};
};

class Conversation {
  public:
    Conversation(ChannelSettings settings, ConversationLimits limits, ChannelFactory factory);

    soap::RequestHeader NewHeader(const std::string& resourceUri, const std::string& action,
                                  std::vector<soap::Selector> selectors = {}) const;

    // Sends the envelope built with `header` and checks the reply against its MessageID and Action. An
    // enumeration's items go into `itemArena` when one is given.
    HResult Call(const soap::RequestHeader& header, const std::string& envelope, soap::CheckedReply& reply,
                 std::shared_ptr<xml::ItemArena> itemArena = nullptr);

    long MaxElements() const { return limits_.maxElements; }
    const EnumerationBounds& Bounds() const { return limits_.enumeration; }
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
