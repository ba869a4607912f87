#include "wsman/client/EnumerationStream.h"

#include <utility>

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Requests.h"

namespace wsman::client {

EnumerationStream::EnumerationStream(std::shared_ptr<Conversation> conversation, std::string resourceUri,
                                     soap::EnumerationBatch first)
    : conversation_(std::move(conversation)),
      resourceUri_(std::move(resourceUri)),
      context_(std::move(first.context)),
      items_(std::move(first.items)),
      endOfSequence_(first.endOfSequence) {}

EnumerationStream::~EnumerationStream() {
    Release();
}

void EnumerationStream::Release() {
    // A finished sequence or a context the server already forgot needs no Release.
    if (endOfSequence_ || context_.empty() || failure_ == errors::kInvalidEnumerationContext) return;
    const auto header = conversation_->NewHeader(resourceUri_, ns::kActionRelease);
    soap::CheckedReply reply;
    conversation_->Call(header, soap::BuildReleaseRequest(header, context_), reply);  // best effort
    context_.clear();
}

HResult EnumerationStream::FillIfEmpty() {
    while (next_ == items_.size() && !endOfSequence_) {
        if (failure_ != 0) return failure_;
        const auto header = conversation_->NewHeader(resourceUri_, ns::kActionPull);
        soap::CheckedReply reply;
        HResult result = conversation_->Call(
            header, soap::BuildPullRequest(header, context_, conversation_->MaxElements()), reply);
        soap::EnumerationBatch batch;
        if (result == 0) result = soap::ReadEnumerationBatch(reply.body, batch);
        if (result != 0) {
            failure_ = result;
            return result;
        }
        // Drop the spent batch before taking the next one: only one response's items are ever held.
        items_ = std::move(batch.items);
        next_ = 0;
        endOfSequence_ = batch.endOfSequence;
        if (!batch.context.empty()) context_ = std::move(batch.context);
    }
    return 0;
}

HResult EnumerationStream::AtEnd(bool& atEnd) {
    atEnd = false;
    if (const HResult result = FillIfEmpty(); result != 0) return result;
    atEnd = next_ == items_.size();
    return 0;
}

HResult EnumerationStream::Read(std::string& item) {
    item.clear();
    if (const HResult result = FillIfEmpty(); result != 0) return result;
    if (next_ == items_.size()) return errors::kEnumerationClosed;
    item = std::move(items_[next_]);
    items_[next_].clear();
    items_[next_].shrink_to_fit();
    ++next_;
    return 0;
}

}  // namespace wsman::client
