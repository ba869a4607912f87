#include "SoapTestSupport.h"

#include "wsman/soap/Namespaces.h"

namespace wsman::testing {

xmlNode* BodyOf(xmlDoc* doc) {
    return xml::FindChild(xmlDocGetRootElement(doc), ns::kSoap, "Body");
}

std::string HeaderText(xmlDoc* doc, const char* namespaceUri, const char* localName) {
    const xmlNode* header = xml::FindChild(xmlDocGetRootElement(doc), ns::kSoap, "Header");
    return xml::TextOf(xml::FindChild(header, namespaceUri, localName));
}

std::string ReplyTo(const std::string& request, const std::string& action, const std::string& bodyXml) {
    const xml::DocPtr doc = xml::ParseUntrusted(request);
    const std::string messageId = doc ? HeaderText(doc.get(), ns::kAddressing, "MessageID") : std::string();
    return std::string("<s:Envelope xmlns:s=\"") + ns::kSoap + "\" xmlns:a=\"" + ns::kAddressing +
           "\" xmlns:n=\"" + ns::kEnumeration + "\" xmlns:w=\"" + ns::kWsman + "\"><s:Header><a:Action>" +
           action +
           "</a:Action><a:MessageID>uuid:00000000-0000-0000-0000-000000000001</a:MessageID><a:RelatesTo>" +
           messageId + "</a:RelatesTo></s:Header><s:Body>" + bodyXml + "</s:Body></s:Envelope>";
}

}  // namespace wsman::testing
