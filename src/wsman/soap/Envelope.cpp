#include "wsman/soap/Envelope.h"

#include <cstdio>
#include <new>
#include <stdexcept>

#include "wsman/core/UntrustedXml.h"
#include "wsman/soap/Namespaces.h"

namespace wsman::soap {

using xml::XmlChars;

namespace {

// A request is often a thread's first use of libxml2, and libxml2 sets up its global tables (the encoders the
// serialisation looks up) on first use unless it was initialised: that must happen once, not on every
// thread at the same time.
xmlDoc* NewRequestDocument() {
    xml::EnsureXmlParserReady();
    return xmlNewDoc(XmlChars("1.0"));
}

void MustUnderstand(xmlNode* node, xmlNs* soap, bool value) {
    xmlNewNsProp(node, soap, XmlChars("mustUnderstand"), XmlChars(value ? "true" : "false"));
}

}  // namespace

std::string FormatDuration(long milliseconds) {
    if (milliseconds < 0) milliseconds = 0;
    char text[40];
    std::snprintf(text, sizeof text, "PT%ld.%03ldS", milliseconds / 1000, milliseconds % 1000);
    return text;
}

Envelope::Envelope(const RequestHeader& header) : doc_(NewRequestDocument()) {
    if (!doc_) throw std::bad_alloc();
    envelope_ = xmlNewDocNode(doc_.get(), nullptr, XmlChars("Envelope"), nullptr);
    xmlDocSetRootElement(doc_.get(), envelope_);
    soap_ = xmlNewNs(envelope_, XmlChars(ns::kSoap), XmlChars("s"));
    addressing_ = xmlNewNs(envelope_, XmlChars(ns::kAddressing), XmlChars("a"));
    enumeration_ = xmlNewNs(envelope_, XmlChars(ns::kEnumeration), XmlChars("n"));
    wsman_ = xmlNewNs(envelope_, XmlChars(ns::kWsman), XmlChars("w"));
    msWsman_ = xmlNewNs(envelope_, XmlChars(ns::kMsWsman), XmlChars("p"));
    xmlSetNs(envelope_, soap_);
    AddHeader(header);
    body_ = xmlNewChild(envelope_, soap_, XmlChars("Body"), nullptr);
}

xmlNode* Envelope::AddText(xmlNode* parent, xmlNs* ns, const char* name, const std::string& text) {
    return xmlNewTextChild(parent, ns, XmlChars(name), XmlChars(text.c_str()));
}

void Envelope::AddHeader(const RequestHeader& header) {
    xmlNode* head = xmlNewChild(envelope_, soap_, XmlChars("Header"), nullptr);
    AddText(head, addressing_, "To", header.to);
    MustUnderstand(AddText(head, wsman_, "ResourceURI", header.resourceUri), soap_, true);
    xmlNode* replyTo = xmlNewChild(head, addressing_, XmlChars("ReplyTo"), nullptr);
    MustUnderstand(AddText(replyTo, addressing_, "Address", ns::kAnonymousAddress), soap_, true);
    MustUnderstand(AddText(head, addressing_, "Action", header.action), soap_, true);
    MustUnderstand(AddText(head, wsman_, "MaxEnvelopeSize", std::to_string(header.maxEnvelopeSize)), soap_,
                   true);
    AddText(head, addressing_, "MessageID", header.messageId);
    // Windows refuses mustUnderstand="true" on the locales, so they say false explicitly.
    xmlNode* locale = xmlNewChild(head, wsman_, XmlChars("Locale"), nullptr);
    xmlNodeSetLang(locale, XmlChars(header.locale.c_str()));
    MustUnderstand(locale, soap_, false);
    xmlNode* dataLocale = xmlNewChild(head, msWsman_, XmlChars("DataLocale"), nullptr);
    xmlNodeSetLang(dataLocale, XmlChars(header.locale.c_str()));
    MustUnderstand(dataLocale, soap_, false);
    if (!header.sessionId.empty()) {
        MustUnderstand(AddText(head, msWsman_, "SessionId", header.sessionId), soap_, false);
    }
    if (!header.selectors.empty()) {
        xmlNode* set = xmlNewChild(head, wsman_, XmlChars("SelectorSet"), nullptr);
        for (const Selector& selector : header.selectors) {
            xmlNode* node = AddText(set, wsman_, "Selector", selector.value);
            xmlNewProp(node, XmlChars("Name"), XmlChars(selector.name.c_str()));
        }
    }
    AddText(head, wsman_, "OperationTimeout", FormatDuration(header.operationTimeoutMs));
}

std::string Envelope::Serialize() const {
    return xml::SaveElement(envelope_);
}

}  // namespace wsman::soap
