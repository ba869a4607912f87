// Splits "CLASS-URI?Key=value&Key2=value2" into the class URI and its selectors, the way the automation
// API's Invoke takes a resource URI. Values are taken literally, without percent-decoding: Windows'
// automation objects do the same, and the module inserts names as it got them (pool names with blanks,
// service names with '%'). A value therefore cannot contain '&'.
#pragma once

#include <string>
#include <vector>

#include "wsman/soap/Envelope.h"

namespace wsman::soap {

struct ResourceLocator {
    std::string resourceUri;
    std::vector<Selector> selectors;
};

ResourceLocator ParseResourceLocator(const std::string& uriWithSelectors);

}  // namespace wsman::soap
