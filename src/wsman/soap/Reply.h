// Turns one HTTP reply into a checked SOAP body: well-formed XML, a SOAP envelope, no fault, and
// a:RelatesTo naming the request.
#pragma once

#include <libxml/tree.h>

#include <string>

#include "wsman/Channel.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

struct CheckedReply {
    xml::DocPtr document;
    xmlNode* body = nullptr;   // s:Body of `document`
    std::string faultMessage;  // set when the reply was a fault
};

// Returns 0 with the parsed body, else:
//  - the fault's HRESULT (message in faultMessage) for a SOAP fault;
//  - kHttpServerError (0x80338170) for HTTP 500 without a SOAP fault, kHttpBadRequest, kHttpNotFound,
//    kHttpServiceUnavailable for those statuses;
//  - kInvalidXml (0x80338043) for a body that is not well-formed XML;
//  - kInvalidSoapBody (0x80338027) for XML that is not a SOAP envelope with a body;
//  - kInvalidHeader (0x8033800F) when a:RelatesTo is missing or differs from the request's MessageID
//    (a fault without RelatesTo is still reported as its fault: some servers omit it there).
HResult CheckReply(const Exchange& exchange, const std::string& requestMessageId, CheckedReply& reply);

}  // namespace wsman::soap
