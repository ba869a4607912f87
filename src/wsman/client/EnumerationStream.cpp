#include "wsman/client/EnumerationStream.h"

#include <utility>

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Requests.h"

namespace wsman::client {

EnumerationStream::EnumerationStream(std::shared_ptr<Conversation> conversation, std::string resourceUri,
                                     soap::EnumerationBatch first, Clock::time_point started,
                                     std::shared_ptr<xml::ItemArena> itemArena)
    : conversation_(std::move(conversation)),
      itemArena_(std::move(itemArena)),
      resourceUri_(std::move(resourceUri)),
      deadline_(started + std::chrono::milliseconds(conversation_->Bounds().timeoutMs)) {
    context_ = std::move(first.context);
    Take(std::move(first));
}

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

HResult EnumerationStream::Stop(HResult code) {
    failure_ = code;
    items_.clear();
    next_ = 0;
    Release();  // now, not when the caller gets round to destroying us
    return code;
}

HResult EnumerationStream::Take(soap::EnumerationBatch batch) {
    const EnumerationBounds& bounds = conversation_->Bounds();
    items_ = std::move(batch.items);
    next_ = 0;
    endOfSequence_ = batch.endOfSequence;
    for (const EnumeratedItem& item : items_) itemBytes_ += item.Text().size();
    if (itemBytes_ > bounds.maxItemBytes) return Stop(errors::kBatchComplete);
    emptyBatchesInARow_ = items_.empty() && !endOfSequence_ ? emptyBatchesInARow_ + 1 : 0;
    if (emptyBatchesInARow_ > bounds.maxEmptyBatches) return Stop(errors::kResponseNoResults);
    return 0;
}

HResult EnumerationStream::FillIfEmpty() {
    while (next_ == items_.size() && !endOfSequence_) {
        if (failure_ != 0) return failure_;
        if (Clock::now() >= deadline_) return Stop(errors::kEnumerateTimedOut);
        const auto header = conversation_->NewHeader(resourceUri_, ns::kActionPull);
        soap::CheckedReply reply;
        HResult result = conversation_->Call(
            header, soap::BuildPullRequest(header, context_, conversation_->MaxElements()), reply,
            itemArena_);
        if (result != 0) {
            failure_ = result;
            return result;
        }
        if (!reply.batch.context.empty()) context_ = std::move(reply.batch.context);
        // Drop the spent batch before taking the next one: only one response's items are ever held.
        if (const HResult bound = Take(std::move(reply.batch)); bound != 0) return bound;
    }
    return failure_;
}

HResult EnumerationStream::AtEnd(bool& atEnd) {
    atEnd = false;
    if (const HResult result = FillIfEmpty(); result != 0) return result;
    atEnd = next_ == items_.size();
    return 0;
}

HResult EnumerationStream::Read(EnumeratedItem& item) {
    item = EnumeratedItem();
    if (const HResult result = FillIfEmpty(); result != 0) return result;
    if (next_ == items_.size()) return errors::kEnumerationClosed;
    item = std::move(items_[next_]);
    items_[next_] = EnumeratedItem();
    ++next_;
    return 0;
}

}  // namespace wsman::client
