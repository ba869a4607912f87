// Renders instances, projections, class definitions and method results the way Windows WinRM writes them.
#pragma once

#include <string>
#include <vector>

#include "model/Instance.h"

namespace qnsim {

// http://schemas.microsoft.com/wbem/wsman/1/wmi/<namespace>/<Class>
std::string ClassResourceUri(const std::string& wmiNamespace, const std::string& className);

// <p:Class ...> with every property of the class in order; `wmiNamespace` as the client addressed it.
std::string RenderInstance(const Instance& instance, const std::string& wmiNamespace);

// <w:XmlFragment> holding only the selected properties, un-prefixed, in the order of the select list.
std::string RenderFragment(const Instance& instance, const std::vector<const PropertyDef*>& selected,
                           const std::string& wmiNamespace);

// A class definition for meta_class: the class element with every property nil.
std::string RenderClassDefinition(const ClassDef& classDef, const std::string& wmiNamespace);

// <p:Method_OUTPUT> with the return value (and nothing else: the simulated methods have no out-parameters).
std::string RenderMethodOutput(const ClassDef& classDef, const std::string& method, std::uint32_t returnValue,
                               const std::string& wmiNamespace);

}  // namespace qnsim
