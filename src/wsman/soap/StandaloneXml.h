// Serialises one element of a larger document so that it stands on its own: every namespace in scope at
// the element is declared on it (QName values such as xsi:type="p:Win32_Service_Type" need their prefix
// too), and the text is UTF-8 without an XML declaration.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace wsman::xml {

std::string SerializeStandalone(const xmlNode* element);

}  // namespace wsman::xml
