// XPath over response envelopes, with the prefixes bound to the WinRM namespace URIs.
#pragma once

#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <memory>
#include <string>

namespace qnsim::test {

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
            {"svc", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service"},
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
