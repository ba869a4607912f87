// WMI resource URIs: http://schemas.microsoft.com/wbem/wsman/1/wmi/<namespace path>/<Class or *>.
#pragma once

#include <optional>
#include <string>
#include <string_view>

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

}  // namespace qnsim
