// WMI instances as Windows WinRM renders them, for fake and simulated computers.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qntest {

// Property values of an instance; no value renders as xsi:nil.
using Properties = std::vector<std::pair<std::string, std::optional<std::string>>>;

inline std::string ClassUri(const std::string& wmiNamespace, const std::string& className) {
    return "http://schemas.microsoft.com/wbem/wsman/1/wmi/" + wmiNamespace + "/" + className;
}

inline std::string PropertyElements(const Properties& properties) {
    std::string xml;
    for (const auto& [name, value] : properties) {
        if (!value) {
            xml += "<p:" + name + " xsi:nil=\"true\"/>";
            continue;
        }
        xml += "<p:" + name + ">";
        for (char c : *value)
            xml += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
        xml += "</p:" + name + ">";
    }
    return xml;
}

// <p:Class xmlns:p=".../wmi/<namespace>/<Class>" ... xsi:type="p:Class_Type">...</p:Class>
inline std::string RenderInstance(const std::string& className, const Properties& properties,
                                  const std::string& wmiNamespace = "root/cimv2") {
    return "<p:" + className + " xmlns:p=\"" + ClassUri(wmiNamespace, className) +
           "\" xmlns:cim=\"http://schemas.dmtf.org/wbem/wscim/1/common\" "
           "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xsi:type=\"p:" +
           className + "_Type\">" + PropertyElements(properties) + "</p:" + className + ">";
}

}  // namespace qntest
