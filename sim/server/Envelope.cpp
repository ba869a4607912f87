#include "server/Envelope.h"

#include "server/Namespaces.h"
#include "server/Uuid.h"
#include "server/XmlText.h"

namespace qnsim {

std::string RenderEnvelope(std::string_view action, std::string_view relatesTo, std::string_view bodyContent,
                           std::string_view locale) {
    std::string xml;
    xml.reserve(bodyContent.size() + 1024);
    xml += "<s:Envelope xml:lang=\"";
    xml += locale.empty() ? std::string("en-US") : EscapeEnvelopeAttribute(locale);
    xml += "\" xmlns:s=\"";
    xml += ns::kSoap;
    xml += "\" xmlns:a=\"";
    xml += ns::kAddressing;
    xml += "\" xmlns:x=\"";
    xml += ns::kTransfer;
    xml += "\" xmlns:e=\"";
    xml += ns::kEventing;
    xml += "\" xmlns:n=\"";
    xml += ns::kEnumeration;
    xml += "\" xmlns:w=\"";
    xml += ns::kWsman;
    xml += "\" xmlns:p=\"";
    xml += ns::kMsWsman;
    xml += "\"><s:Header><a:Action>";
    xml += EscapeEnvelopeText(action);
    xml += "</a:Action><a:MessageID>";
    xml += NewUuidText();
    xml += "</a:MessageID><a:To>";
    xml += ns::kAnonymous;
    xml += "</a:To>";
    if (!relatesTo.empty()) {
        xml += "<a:RelatesTo>";
        xml += EscapeEnvelopeText(relatesTo);
        xml += "</a:RelatesTo>";
    }
    xml += "</s:Header><s:Body>";
    xml += bodyContent;
    xml += "</s:Body></s:Envelope>";
    return xml;
}

}  // namespace qnsim
