// Turns one HTTP reply into a checked SOAP reply: well-formed XML, a SOAP envelope, no fault, a:RelatesTo
// naming the request and a:Action answering its action. The envelope is read once, without a tree; an
// enumeration response's context, items and end come out of that same pass. Only a fault and an Invoke's
// output are read into libxml2's tree.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>

#include "wsman/Channel.h"
#include "wsman/soap/EnumerationReply.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::xml {
class ItemArena;
}

namespace wsman::soap {

struct CheckedReply {
    xml::DocPtr document;      // replies to actions other than Enumerate, Pull and Release
    xmlNode* body = nullptr;   // s:Body of `document`
    EnumerationBatch batch;    // replies to Enumerate and Pull
    std::string faultMessage;  // set when the reply was a fault
    std::string problem;       // why a reply that is no fault was refused, for traces
};

// Returns 0 with the checked reply, else:
//  - the fault's HRESULT (message in faultMessage) for a SOAP fault;
//  - kHttpServerError (0x80338170) for HTTP 500 without a SOAP fault, kHttpBadRequest, kHttpNotFound,
//    kHttpServiceUnavailable for those statuses;
//  - kInvalidXml (0x80338043) for a body that is not well-formed XML, carries a DTD or an element with more
//    attributes than AttributeBound.h allows;
//  - kInvalidSoapBody (0x80338027) for XML that is not a SOAP envelope with a body, or an Enumerate or Pull
//    answered without its response element (or without a context while the sequence goes on);
//  - kInvalidHeader (0x8033800F) when a:RelatesTo is missing or differs from the request's MessageID, or
//    a:Action is not the request's action followed by "Response" (a fault without RelatesTo is still
//    reported as its fault: some servers omit it there).
// An enumeration's items are placed in `itemArena` when one is given (see ReadEnvelope).
HResult CheckReply(const Exchange& exchange, const std::string& requestMessageId,
                   const std::string& requestAction, CheckedReply& reply,
                   std::shared_ptr<xml::ItemArena> itemArena = nullptr);

}  // namespace wsman::soap
