#include "wsman/soap/Requests.h"

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

using xml::XmlChars;

std::string BuildEnumerateRequest(const RequestHeader& header, const std::string& filter,
                                  const std::string& dialect, long maxElements) {
    Envelope envelope(header);
    xmlNode* enumerate = xmlNewChild(envelope.Body(), envelope.Enumeration(), XmlChars("Enumerate"), nullptr);
    xmlNewChild(enumerate, envelope.Wsman(), XmlChars("OptimizeEnumeration"), nullptr);
    Envelope::AddText(enumerate, envelope.Wsman(), "MaxElements", std::to_string(maxElements));
    if (!filter.empty()) {
        xmlNode* filterNode = Envelope::AddText(enumerate, envelope.Wsman(), "Filter", filter);
        if (!dialect.empty()) xmlNewProp(filterNode, XmlChars("Dialect"), XmlChars(dialect.c_str()));
    }
    return envelope.Serialize();
}

std::string BuildPullRequest(const RequestHeader& header, const std::string& context, long maxElements) {
    Envelope envelope(header);
    xmlNode* pull = xmlNewChild(envelope.Body(), envelope.Enumeration(), XmlChars("Pull"), nullptr);
    Envelope::AddText(pull, envelope.Enumeration(), "EnumerationContext", context);
    Envelope::AddText(pull, envelope.Enumeration(), "MaxElements", std::to_string(maxElements));
    return envelope.Serialize();
}

std::string BuildReleaseRequest(const RequestHeader& header, const std::string& context) {
    Envelope envelope(header);
    xmlNode* release = xmlNewChild(envelope.Body(), envelope.Enumeration(), XmlChars("Release"), nullptr);
    Envelope::AddText(release, envelope.Enumeration(), "EnumerationContext", context);
    return envelope.Serialize();
}

HResult BuildInvokeRequest(const RequestHeader& header, const std::string& inputXml,
                           std::string& envelopeText) {
    envelopeText.clear();
    if (xml::TrimWhitespace(inputXml).empty()) return errors::kBlankInputXml;
    const xml::DocPtr input = xml::ParseUntrusted(inputXml);
    if (!input) return errors::kInvalidXml;

    Envelope envelope(header);
    // A deep copy into the envelope's document keeps the input's own namespace declarations.
    xmlNode* copy = xmlDocCopyNode(xmlDocGetRootElement(input.get()), envelope.Document(), 1);
    if (copy == nullptr) return errors::kInvalidXml;
    xmlAddChild(envelope.Body(), copy);
    xmlReconciliateNs(envelope.Document(), copy);
    envelopeText = envelope.Serialize();
    return 0;
}

}  // namespace wsman::soap
