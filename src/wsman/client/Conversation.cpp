#include "wsman/client/Conversation.h"

#include <utility>

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/MessageId.h"

namespace wsman::client {

Conversation::Conversation(ChannelSettings settings, ConversationLimits limits, ChannelFactory factory)
    : settings_(std::move(settings)),
      limits_(limits),
      factory_(std::move(factory)),
      sessionId_(soap::NewUuidUrn()) {}

soap::RequestHeader Conversation::NewHeader(const std::string& resourceUri, const std::string& action,
                                            std::vector<soap::Selector> selectors) const {
    soap::RequestHeader header;
    header.to = settings_.url;
    header.resourceUri = resourceUri;
    header.action = action;
    header.messageId = soap::NewUuidUrn();
    header.sessionId = sessionId_;
    header.selectors = std::move(selectors);
    header.maxEnvelopeSize = limits_.maxEnvelopeSize;
    header.operationTimeoutMs = settings_.operationTimeoutMs;
    return header;
}

HResult Conversation::Call(const soap::RequestHeader& header, const std::string& envelope,
                           soap::CheckedReply& reply, std::shared_ptr<xml::ItemArena> itemArena) {
    lastErrorDetail_.clear();
    if (!channel_) {
        channel_ = factory_ ? factory_(settings_) : nullptr;
        if (!channel_) {
            lastErrorDetail_ = "no WS-Management transport is available";
            return errors::kUnspecifiedFailure;
        }
    }
    if (const HResult sent = channel_->Send(envelope, exchange_); sent != 0) {
        lastErrorDetail_ = channel_->LastErrorDetail();
        ReleaseBuffers();
        return sent;
    }
    const HResult checked =
        soap::CheckReply(exchange_, header.messageId, header.action, reply, std::move(itemArena));
    if (checked != 0) {
        lastErrorDetail_ = !reply.faultMessage.empty() ? reply.faultMessage
                           : !reply.problem.empty()
                               ? reply.problem
                               : "unexpected reply (HTTP " + std::to_string(exchange_.httpStatus) + ")";
    }
    // Only a sequence that goes on is pulled again at once; a session between checks holds no reply.
    if (checked != 0 || reply.batch.endOfSequence || reply.batch.context.empty()) ReleaseBuffers();
    return checked;
}

void Conversation::ReleaseBuffers() {
    ReleaseLargeBuffer(exchange_.body);
    channel_->ReleaseBuffers();
}

}  // namespace wsman::client
