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
                             XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)) {
        if (!doc_) return;
        context_.reset(xmlXPathNewContext(doc_.get()));
        const char* bindings[][2] = {
            {"s", "http://www.w3.org/2003/05/soap-envelope"},
            {"a", "http://schemas.xmlsoap.org/ws/2004/08/addressing"},
            {"n", "http://schemas.xmlsoap.org/ws/2004/09/enumeration"},
            {"w", "http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd"},
            {"f", "http://schemas.microsoft.com/wbem/wsman/1/wsmanfault"},
            {"svc", "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/Win32_Service"},
        };
        for (const auto& binding : bindings)
            xmlXPathRegisterNs(context_.get(), reinterpret_cast<const xmlChar*>(binding[0]),
                               reinterpret_cast<const xmlChar*>(binding[1]));
    }

    std::string Text(const std::string& expression) const {
        const auto result = Evaluate("string(" + expression + ")");
        return !context_                     ? "<not xml>"
               : result && result->stringval ? reinterpret_cast<const char*>(result->stringval)
                                             : "";
    }
    int Count(const std::string& expression) const {
        const auto result = Evaluate("count(" + expression + ")");
        return result ? static_cast<int>(result->floatval) : -1;
    }

    // The HRESULT a client reads from a fault: the outer WSManFault Code.
    std::string FaultCode() const { return Text("/s:Envelope/s:Body/s:Fault/s:Detail/f:WSManFault/@Code"); }
    std::string Subcode() const { return Text("/s:Envelope/s:Body/s:Fault/s:Code/s:Subcode/s:Value"); }

  private:
    std::unique_ptr<xmlXPathObject, decltype(&xmlXPathFreeObject)> Evaluate(
        const std::string& expression) const {
        return {context_ ? xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(expression.c_str()),
                                                  context_.get())
                         : nullptr,
                &xmlXPathFreeObject};
    }
    struct DocFree {
        void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
    };
    struct ContextFree {
        void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
    };
    std::unique_ptr<xmlDoc, DocFree> doc_;
    std::unique_ptr<xmlXPathContext, ContextFree> context_;
};

}  // namespace qnsim::test
