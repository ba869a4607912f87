// Reads a SOAP fault into the HRESULT the Windows client reports for it, and its message text.
// The code comes from, in order: f:WSManFault/@Code (decimal), MSFT_WmiError/error_Code, the subcode
// (or a SOAP code such as MustUnderstand) mapped through the table of wsmerror.h, else E_FAIL.
#pragma once

#include <libxml/tree.h>

#include <optional>
#include <string>

#include "wsman/Channel.h"

namespace wsman::soap {

struct SoapFault {
    HResult code = 0;
    std::string subcode;  // "{namespace-uri}LocalName", for traces
    std::string
        message;  // innermost f:Message / ProviderFault text, else MSFT_WmiError Message, else s:Reason
};

// body is the s:Body element; nothing when it carries no s:Fault.
std::optional<SoapFault> ReadFault(const xmlNode* body);

// The HRESULT for a fault subcode given by namespace URI and local name; 0 when unknown.
HResult HResultForSubcode(const std::string& namespaceUri, const std::string& localName);

}  // namespace wsman::soap
