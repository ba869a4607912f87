// Reads an Invoke reply: the method's output element (…_OUTPUT), serialised standalone.
#pragma once

#include <libxml/tree.h>

#include <string>

#include "wsman/Channel.h"

namespace wsman::soap {

// body is a checked s:Body; kInvalidSoapBody when it is empty.
HResult ReadInvokeOutput(xmlNode* body, std::string& output);

}  // namespace wsman::soap
