// Builds one request envelope with the header Windows' own client sends (To, ResourceURI, ReplyTo, Action,
// MaxEnvelopeSize, MessageID, Locale, DataLocale, SessionId, SelectorSet, OperationTimeout, in that order).
// Built as a libxml2 tree, so every text and attribute value is escaped on output.
#pragma once

#include <libxml/tree.h>

#include <string>
#include <utility>
#include <vector>

#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

struct Selector {
    std::string name;
    std::string value;
    bool operator==(const Selector&) const = default;
};

struct RequestHeader {
    std::string to;  // the endpoint URL
    std::string resourceUri;
    std::string action;
    std::string messageId;  // "uuid:..."
    std::string sessionId;  // "uuid:...", constant for a session; empty: not sent
    std::vector<Selector> selectors;
    long maxEnvelopeSize = 512000;
    long operationTimeoutMs = 60000;
    std::string locale = "en-US";
};

// "PT60.000S": Windows writes the timeout as seconds with three decimals.
std::string FormatDuration(long milliseconds);

class Envelope {
  public:
    explicit Envelope(const RequestHeader& header);
    Envelope(const Envelope&) = delete;
    Envelope& operator=(const Envelope&) = delete;

    xmlNode* Body() const { return body_; }
    xmlNs* Enumeration() const { return enumeration_; }
    xmlNs* Wsman() const { return wsman_; }
    xmlDoc* Document() const { return doc_.get(); }

    // Appends <prefix:name>text</prefix:name> with the text escaped.
    static xmlNode* AddText(xmlNode* parent, xmlNs* ns, const char* name, const std::string& text);

    std::string Serialize() const;

  private:
    void AddHeader(const RequestHeader& header);

    xml::DocPtr doc_;
    xmlNode* envelope_ = nullptr;
    xmlNode* body_ = nullptr;
    xmlNs* soap_ = nullptr;
    xmlNs* addressing_ = nullptr;
    xmlNs* enumeration_ = nullptr;
    xmlNs* wsman_ = nullptr;
    xmlNs* msWsman_ = nullptr;
};

}  // namespace wsman::soap
