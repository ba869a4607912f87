// Reads an EnumerateResponse or PullResponse: the context, the items (each serialised standalone) and
// whether the sequence ended. Items and EndOfSequence are accepted in both the WS-Management (w:) and the
// WS-Enumeration (n:) namespace, since Windows builds differ.
#pragma once

#include <libxml/tree.h>

#include <string>
#include <vector>

#include "wsman/Channel.h"

namespace wsman::soap {

struct EnumerationBatch {
    std::string context;
    std::vector<std::string> items;
    bool endOfSequence = false;
};

// body is a checked s:Body. kInvalidSoapBody when it holds neither response element, or when the sequence
// goes on without a context to pull with.
HResult ReadEnumerationBatch(xmlNode* body, EnumerationBatch& batch);

}  // namespace wsman::soap
