#include "model/InstanceRenderer.h"

#include <algorithm>
#include <cstdint>

#include "model/TextRules.h"

namespace qnsim {

namespace {

constexpr const char* kWmiUriPrefix = "http://schemas.microsoft.com/wbem/wsman/1/wmi/";
constexpr const char* kXsiNs = "http://www.w3.org/2001/XMLSchema-instance";
constexpr const char* kCimNs = "http://schemas.dmtf.org/wbem/wscim/1/common";
constexpr const char* kAddressingNs = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
constexpr const char* kWsmanNs = "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd";
constexpr const char* kAnonymous = "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous";

std::string UriNamespace(const std::string& wmiNamespace) {
    std::string path = wmiNamespace;
    std::replace(path.begin(), path.end(), '\\', '/');
    while (!path.empty() && path.back() == '/') path.pop_back();
    return path;
}

// Opens a class-named element with the declarations in the order of Windows' own replies.
std::string OpenClassElement(const std::string& element, const std::string& classUri, bool typed) {
    std::string xml = "<p:" + element + " xmlns:xsi=\"" + kXsiNs + "\" xmlns:p=\"" + classUri +
                      "\" xmlns:cim=\"" + kCimNs + "\"";
    if (typed) xml += " xsi:type=\"p:" + element + "_Type\"";
    return xml + ">";
}

std::string ReferenceBody(const ObjectPath& path, const std::string& wmiNamespace, const std::string& prefixA,
                          const std::string& prefixW) {
    std::string xml = "<" + prefixA + "Address>" + kAnonymous + "</" + prefixA + "Address><" + prefixA +
                      "ReferenceParameters><" + prefixW + "ResourceURI>" +
                      EscapeXmlText(ClassResourceUri(wmiNamespace, path.className)) + "</" + prefixW +
                      "ResourceURI><" + prefixW + "SelectorSet>";
    for (const auto& [key, value] : path.keys)
        xml += "<" + prefixW + "Selector Name=\"" + EscapeXmlAttribute(key) + "\">" + EscapeXmlText(value) +
               "</" + prefixW + "Selector>";
    return xml + "</" + prefixW + "SelectorSet></" + prefixA + "ReferenceParameters>";
}

// One property as elements named `tag` (prefixed "p:" in instances, bare in fragments).
void AppendProperty(std::string& xml, const PropertyDef& property, const PropertyValue& value, bool prefixed,
                    const std::string& wmiNamespace) {
    const std::string tag = (prefixed ? "p:" : "") + property.name;
    // Windows leaves a NULL array out altogether (Win32_LogicalDisk's PowerManagementCapabilities).
    if (value.isNull && property.isArray) return;
    if (value.isNull) {
        xml += prefixed ? "<" + tag + " xsi:nil=\"true\"/>"
                        : "<" + tag + " xmlns:xsi=\"" + kXsiNs + "\" xsi:nil=\"true\"/>";
        return;
    }
    if (property.type == CimType::Reference) {
        for (const ObjectPath& path : value.references) {
            if (prefixed)
                xml += "<" + tag + " xmlns:a=\"" + kAddressingNs + "\" xmlns:w=\"" + kWsmanNs + "\">" +
                       ReferenceBody(path, wmiNamespace, "a:", "w:") + "</" + tag + ">";
            else
                xml += "<" + tag + ">" + ReferenceBody(path, wmiNamespace, "", "") + "</" + tag + ">";
        }
        return;
    }
    const char* wrapper = property.type == CimType::DateTime   ? "Datetime"
                          : property.type == CimType::Interval ? "Interval"
                                                               : nullptr;
    for (const std::string& text : value.texts) {
        xml += "<" + tag + ">";
        if (wrapper != nullptr) {
            const std::string inner = (prefixed ? "cim:" : "") + std::string(wrapper);
            xml += "<" + inner + ">" + EscapeXmlText(text) + "</" + inner + ">";
        } else {
            xml += EscapeXmlText(text);
        }
        xml += "</" + tag + ">";
    }
}

}  // namespace

std::string ClassResourceUri(const std::string& wmiNamespace, const std::string& className) {
    return kWmiUriPrefix + UriNamespace(wmiNamespace) + "/" + className;
}

std::string RenderInstance(const Instance& instance, const std::string& wmiNamespace) {
    const ClassDef& classDef = *instance.classDef;
    std::string xml = OpenClassElement(classDef.name, ClassResourceUri(wmiNamespace, classDef.name), true);
    for (std::size_t i = 0; i < classDef.properties.size(); ++i)
        AppendProperty(xml, classDef.properties[i], instance.values[i], true, wmiNamespace);
    return xml + "</p:" + classDef.name + ">";
}

std::string RenderFragment(const Instance& instance, const std::vector<const PropertyDef*>& selected,
                           const std::string& wmiNamespace) {
    std::string xml = std::string("<w:XmlFragment xmlns:w=\"") + kWsmanNs + "\">";
    for (const PropertyDef* property : selected)
        AppendProperty(xml, *property, *instance.Find(property->name), false, wmiNamespace);
    return xml + "</w:XmlFragment>";
}

std::string RenderClassDefinition(const ClassDef& classDef, const std::string& wmiNamespace) {
    std::string xml = OpenClassElement(classDef.name, ClassResourceUri(wmiNamespace, classDef.name), true);
    for (const PropertyDef& property : classDef.properties)
        xml += "<p:" + property.name + " xsi:nil=\"true\"/>";
    return xml + "</p:" + classDef.name + ">";
}

std::string RenderMethodOutput(const ClassDef& classDef, const std::string& method, std::uint32_t returnValue,
                               const std::string& wmiNamespace) {
    const std::string element = method + "_OUTPUT";
    return OpenClassElement(element, ClassResourceUri(wmiNamespace, classDef.name), false) +
           "<p:ReturnValue>" + std::to_string(returnValue) + "</p:ReturnValue></p:" + element + ">";
}

}  // namespace qnsim
