// Serialises one element of a larger document so that it stands on its own: every namespace its subtree
// uses is declared (also the prefix of QName values such as xsi:type="p:Win32_Service_Type") and nothing
// else of the envelope's, and the text is UTF-8 without an XML declaration.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace wsman::xml {

std::string SerializeStandalone(const xmlNode* element);

}  // namespace wsman::xml
