// What one EnumerateResponse or PullResponse gives: the context, the items (each a standalone document and
// its tree) and whether the sequence ended. Read by the reply check (Reply.h) in its one pass over the
// envelope.
#pragma once

#include <string>
#include <vector>

#include "wsman/core/EnumeratedItem.h"

namespace wsman::soap {

struct EnumerationBatch {
    std::string context;
    std::vector<EnumeratedItem> items;
    bool endOfSequence = false;
};

}  // namespace wsman::soap
