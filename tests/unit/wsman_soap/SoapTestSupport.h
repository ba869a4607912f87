// Helpers shared by the SOAP-layer tests: parsing envelopes back, and a scripted Channel.
#pragma once

#include <libxml/tree.h>

#include <functional>
#include <string>
#include <vector>

#include "wsman/Channel.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::testing {

// The s:Body of a parsed envelope (null when there is none).
xmlNode* BodyOf(xmlDoc* doc);
// Text of the first header element with this namespace and local name.
std::string HeaderText(xmlDoc* doc, const char* namespaceUri, const char* localName);

// A reply envelope relating to `request`, with `bodyXml` inside s:Body (namespaces s, a, n, w declared).
std::string ReplyTo(const std::string& request, const std::string& action, const std::string& bodyXml);

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
