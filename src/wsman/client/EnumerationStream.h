// The items of one enumeration, handed out one by one. It holds the items of one response at a time and
// Pulls the next batch only when they are used up, so its memory is bounded by the envelope size however
// many instances the query returns. Destroyed before the end, it Releases the server's context.
//
// A server that never ends the sequence cannot hold the caller: the enumeration stops (and Releases its
// context at once) when it has run longer than its time bound, when the item text it handed out would pass
// its byte bound (the caller keeps every item), or after too many empty batches in a row.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "wsman/client/Conversation.h"
#include "wsman/soap/EnumerationReply.h"

namespace wsman::client {

class EnumerationStream {
  public:
    using Clock = std::chrono::steady_clock;

    // `started`: when the Enumerate was sent; the time bound counts from there. `itemArena`: where the
    // first batch's items are, and where the Pulls' items go.
    EnumerationStream(std::shared_ptr<Conversation> conversation, std::string resourceUri,
                      soap::EnumerationBatch first, Clock::time_point started,
                      std::shared_ptr<xml::ItemArena> itemArena);
    ~EnumerationStream();
    EnumerationStream(const EnumerationStream&) = delete;
    EnumerationStream& operator=(const EnumerationStream&) = delete;

    // atEnd := no item is left (Pulls as needed to find out). A failed Pull or a crossed bound is
    // reported, and repeated on every later call: the enumeration cannot go on.
    HResult AtEnd(bool& atEnd);
    // item := the next item (its XML text and tree); kEnumerationClosed past the end.
    HResult Read(EnumeratedItem& item);

    std::size_t BufferedItems() const { return items_.size() - next_; }

  private:
    HResult FillIfEmpty();
    // Takes a batch's items and checks the byte and empty-batch bounds.
    HResult Take(soap::EnumerationBatch batch);
    HResult Stop(HResult code);
    void Release();

    std::shared_ptr<Conversation> conversation_;
    std::shared_ptr<xml::ItemArena> itemArena_;
    std::string resourceUri_;
    std::string context_;
    std::vector<EnumeratedItem> items_;
    std::size_t next_ = 0;
    bool endOfSequence_ = false;
    HResult failure_ = 0;
    Clock::time_point deadline_;
    std::size_t itemBytes_ = 0;
    long emptyBatchesInARow_ = 0;
};

}  // namespace wsman::client
