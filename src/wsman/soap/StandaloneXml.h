// Serialises one element of a larger document so that it stands on its own: every namespace its subtree
// uses is declared (also the prefix of QName values such as xsi:type="p:Win32_Service_Type") and nothing
// else of the envelope's, and the text is UTF-8 without an XML declaration. The declarations it needs from
// around it are added to the element itself: the document is the caller's reply, read once.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace wsman::xml {

std::string SerializeStandalone(xmlNode* element);

}  // namespace wsman::xml
