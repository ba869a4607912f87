// One pass of libxml2's SAX parser over a reply envelope, without building libxml2's tree: the header
// fields the reply check needs, what the body holds, and for an enumeration response its context, its end
// and each item. An item is handed on as the reply's own bytes of that element, with the namespace
// declarations it takes from the envelope added to its start tag, so that it is a standalone document of its
// own, together with its compact tree (wsman/core/ItemTree.h) built from the same events.
// Read under the rules of the one safe parse (wsman/core/UntrustedXml.h).
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "wsman/core/EnumeratedItem.h"

namespace wsman::xml {
class ItemArena;
}

namespace wsman::soap {

struct EnvelopeSummary {
    enum class Response { None, Enumerate, Pull };

    bool isEnvelope = false;  // an s:Envelope with an s:Body
    bool hasRelatesTo = false;
    std::string relatesTo;  // text of the first a:RelatesTo of the header, as sent
    std::string action;     // text of the first a:Action of the header, as sent
    bool hasFault = false;  // the body holds an s:Fault
    // The first n:EnumerateResponse or n:PullResponse of the body and what it holds (items and
    // EndOfSequence in the w: or the n: namespace, as Windows builds differ).
    Response response = Response::None;
    std::string context;
    bool endOfSequence = false;
    std::vector<EnumeratedItem> items;
};

enum class EnvelopeReadOutcome {
    Read,
    NotWellFormed,   // by the rules of UntrustedXml.h: a DTD, an undeclared prefix, not UTF-8, ...
    AttributeFlood,  // an element beyond the attribute bound
};

// The items are placed in `arena` when one is given (the enumeration's, shared by its replies), else in an
// arena of the reply's own.
EnvelopeReadOutcome ReadEnvelope(std::string_view text, EnvelopeSummary& summary,
                                 std::shared_ptr<xml::ItemArena> arena = nullptr);

}  // namespace wsman::soap
