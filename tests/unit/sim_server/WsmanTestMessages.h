// Request envelopes as WinRM clients write them, and XPath over the server's replies.
#pragma once

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>
#include <optional>
#include <string>

namespace qnsim::test {

inline const std::string kCimv2All = "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/*";
inline const std::string kServiceUri =
    "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service";
inline const std::string kEnumeration = "http://schemas.xmlsoap.org/ws/2004/09/enumeration/";

struct RequestText {
    std::string action;
    std::string resourceUri = kCimv2All;
    std::string messageId = "uuid:11111111-2222-3333-4444-555555555555";
    std::optional<unsigned> maxEnvelopeSize = 153600;
    std::string selectors = {};  // inner w:Selector elements
    std::string body = {};       // content of s:Body
};

inline std::string Envelope(const RequestText& r) {
    std::string xml =
        "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\" "
        "xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\" "
        "xmlns:n=\"http://schemas.xmlsoap.org/ws/2004/09/enumeration\" "
        "xmlns:w=\"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd\"><s:Header>"
        "<a:To>http://127.0.0.1:5985/wsman</a:To>"
        "<w:ResourceURI s:mustUnderstand=\"true\">" +
        r.resourceUri +
        "</w:ResourceURI><a:ReplyTo><a:Address s:mustUnderstand=\"true\">"
        "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous</a:Address></a:ReplyTo>"
        "<a:Action s:mustUnderstand=\"true\">" +
        r.action + "</a:Action>";
    if (r.maxEnvelopeSize)
        xml += "<w:MaxEnvelopeSize s:mustUnderstand=\"true\">" + std::to_string(*r.maxEnvelopeSize) +
               "</w:MaxEnvelopeSize>";
    xml += "<a:MessageID>" + r.messageId +
           "</a:MessageID><w:Locale xml:lang=\"en-US\" s:mustUnderstand=\"false\"/>";
    if (!r.selectors.empty()) xml += "<w:SelectorSet>" + r.selectors + "</w:SelectorSet>";
    xml += "<w:OperationTimeout>PT60.000S</w:OperationTimeout></s:Header><s:Body>" + r.body +
           "</s:Body></s:Envelope>";
    return xml;
}

inline std::string EnumerateWql(const std::string& wql, unsigned maxElements = 32000) {
    return Envelope(
        {.action = kEnumeration + "Enumerate",
         .body = "<n:Enumerate><w:OptimizeEnumeration/><w:MaxElements>" + std::to_string(maxElements) +
                 "</w:MaxElements><w:Filter Dialect=\"http://schemas.microsoft.com/wbem/wsman/1/WQL\">" +
                 wql + "</w:Filter></n:Enumerate>"});
}

inline std::string Pull(const std::string& context, unsigned maxElements = 32000,
                        unsigned maxEnvelope = 153600) {
    return Envelope({.action = kEnumeration + "Pull",
                     .messageId = "uuid:22222222-2222-3333-4444-555555555555",
                     .maxEnvelopeSize = maxEnvelope,
                     .body = "<n:Pull><n:EnumerationContext>" + context +
                             "</n:EnumerationContext><n:MaxElements>" + std::to_string(maxElements) +
                             "</n:MaxElements></n:Pull>"});
}

// XPath over a reply, with the prefixes bound to the WinRM namespace URIs.
class TestXml {
  public:
    explicit TestXml(const std::string& xml)
        : doc_(xmlReadMemory(xml.data(), static_cast<int>(xml.size()), "reply.xml", nullptr,
                             XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
               &xmlFreeDoc),
          context_(doc_ ? xmlXPathNewContext(doc_.get()) : nullptr, &xmlXPathFreeContext) {
        const char* bindings[][2] = {
            {"s", "http://www.w3.org/2003/05/soap-envelope"},
            {"a", "http://schemas.xmlsoap.org/ws/2004/08/addressing"},
            {"n", "http://schemas.xmlsoap.org/ws/2004/09/enumeration"},
            {"w", "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"},
            {"f", "http://schemas.microsoft.com/wbem/wsman/1/wsmanfault"},
            {"svc", kServiceUri.c_str()},
        };
        for (const auto& [prefix, uri] : bindings)
            if (context_)
                xmlXPathRegisterNs(context_.get(), reinterpret_cast<const xmlChar*>(prefix),
                                   reinterpret_cast<const xmlChar*>(uri));
    }

    std::string Text(const std::string& expression) const {
        const auto result = Evaluate("string(" + expression + ")");
        if (!context_) return "<not xml>";
        return result && result->stringval ? reinterpret_cast<const char*>(result->stringval) : "";
    }
    int Count(const std::string& expression) const {
        const auto result = Evaluate("count(" + expression + ")");
        return result ? static_cast<int>(result->floatval) : -1;
    }

    // The HRESULT a client reads from a fault: the outer WSManFault Code.
    std::string FaultCode() const { return Text("/s:Envelope/s:Body/s:Fault/s:Detail/f:WSManFault/@Code"); }
    std::string Subcode() const { return Text("/s:Envelope/s:Body/s:Fault/s:Code/s:Subcode/s:Value"); }

  private:
    std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> Evaluate(const std::string& expr) const {
        const auto* text = reinterpret_cast<const xmlChar*>(expr.c_str());
        return {context_ ? xmlXPathEvalExpression(text, context_.get()) : nullptr, &xmlXPathFreeObject};
    }
    std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)> doc_;
    std::unique_ptr<xmlXPathContext, decltype(&xmlXPathFreeContext)> context_;
};

}  // namespace qnsim::test
