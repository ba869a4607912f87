// Helpers shared by the SOAP-layer tests: reading envelopes back, and a scripted Channel.
#pragma once

#include <libxml/tree.h>

#include <functional>
#include <string>
#include <vector>

#include "wsman/Channel.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::testing {

// The s:Body of a parsed envelope (null when there is none).
inline xmlNode* BodyOf(xmlDoc* doc) {
    return xml::FindChild(xmlDocGetRootElement(doc), ns::kSoap, "Body");
}

// Text of the first header element with this namespace and local name.
inline std::string HeaderText(xmlDoc* doc, const char* namespaceUri, const char* localName) {
    const xmlNode* header = xml::FindChild(xmlDocGetRootElement(doc), ns::kSoap, "Header");
    return xml::TextOf(xml::FindChild(header, namespaceUri, localName));
}

// A reply envelope relating to `request`, with `bodyXml` inside s:Body (namespaces s, a, n, w declared).
inline std::string ReplyTo(const std::string& request, const std::string& action,
                           const std::string& bodyXml) {
    const xml::DocPtr doc = xml::ParseUntrusted(request);
    const std::string messageId = doc ? HeaderText(doc.get(), ns::kAddressing, "MessageID") : std::string();
    return std::string("<s:Envelope xmlns:s=\"") + ns::kSoap + "\" xmlns:a=\"" + ns::kAddressing +
           "\" xmlns:n=\"" + ns::kEnumeration + "\" xmlns:w=\"" + ns::kWsman + "\"><s:Header><a:Action>" +
           action +
           "</a:Action><a:MessageID>uuid:00000000-0000-0000-0000-000000000001</a:MessageID><a:RelatesTo>" +
           messageId + "</a:RelatesTo></s:Header><s:Body>" + bodyXml + "</s:Body></s:Envelope>";
}

// A fault with this subcode; q: is the enumeration namespace, s, a, n and w come from ReplyTo.
inline std::string FaultWithSubcode(const std::string& subcode, const std::string& detail = "",
                                    const std::string& reason = "reason text ") {
    return "<s:Fault xmlns:q=\"" + std::string(ns::kEnumeration) +
           "\"><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>" + subcode +
           "</s:Value></s:Subcode></s:Code><s:Reason><s:Text>" + reason + "</s:Text></s:Reason>" + detail +
           "</s:Fault>";
}

// A Channel that records every envelope and answers through a script.
class ScriptedChannel : public Channel {
  public:
    using Script = std::function<HResult(const std::string& request, Exchange& out)>;
    ScriptedChannel(Script script, std::vector<std::string>& sent)
        : script_(std::move(script)), sent_(sent) {}

    HResult Send(const std::string& envelope, Exchange& out) override {
        sent_.push_back(envelope);
        return script_(envelope, out);
    }
    std::string LastErrorDetail() const override { return "scripted transport failure"; }

  private:
    Script script_;
    std::vector<std::string>& sent_;
};

}  // namespace wsman::testing
