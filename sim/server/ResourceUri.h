// WMI resource URIs: http://schemas.microsoft.com/wbem/wsman/1/wmi/<namespace path>/<Class or *>.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "model/ComputerModel.h"

namespace qnsim {

struct WmiResource {
    std::string wmiNamespace;  // "root/cimv2"
    std::string className;     // "Win32_Service", or "*" for the namespace's all-classes URI
    bool AllClasses() const { return className == "*"; }
};

enum class ResourceUriProblem { Malformed, NotWmi };

struct ResourceUriResult {
    std::optional<WmiResource> resource;
    ResourceUriProblem problem = ResourceUriProblem::Malformed;
};

ResourceUriResult ParseWmiResourceUri(std::string_view uri);

// Also the DMTF form the PowerShell CIM cmdlets use:
// http://schemas.dmtf.org/wbem/wscim/1/cim-schema/2/<Class> or http://schemas.dmtf.org/wbem/wscim/1/* with
// the namespace in the __cimnamespace selector (root/cimv2 when absent); that selector is taken out of
// `selectors`.
ResourceUriResult ParseResourceUri(std::string_view uri, Selectors& selectors);

}  // namespace qnsim
