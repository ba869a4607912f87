#include "wsman/soap/Reply.h"

#include <algorithm>
#include <cctype>

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Fault.h"
#include "wsman/soap/Namespaces.h"

namespace wsman::soap {

namespace {

// GUIDs compare without regard to case; some servers echo the identifier in lower case.
bool SameIdentifier(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(), [](char a, char b) {
               return std::tolower(static_cast<unsigned char>(a)) ==
                      std::tolower(static_cast<unsigned char>(b));
           });
}

}  // namespace

HResult CheckReply(const Exchange& exchange, const std::string& requestMessageId, CheckedReply& reply) {
    reply = CheckedReply();
    const bool httpOk = exchange.httpStatus == 200;
    xml::DocPtr document = xml::ParseUntrusted(exchange.body);
    if (!document) return httpOk ? errors::kInvalidXml : errors::HResultForHttpStatus(exchange.httpStatus);

    const xmlNode* envelope = xmlDocGetRootElement(document.get());
    xmlNode* body = xml::IsElement(envelope, ns::kSoap, "Envelope")
                        ? xml::FindChild(envelope, ns::kSoap, "Body")
                        : nullptr;
    if (body == nullptr)
        return httpOk ? errors::kInvalidSoapBody : errors::HResultForHttpStatus(exchange.httpStatus);

    const xmlNode* relatesTo =
        xml::FindChild(xml::FindChild(envelope, ns::kSoap, "Header"), ns::kAddressing, "RelatesTo");
    const bool related =
        relatesTo != nullptr && SameIdentifier(xml::TrimWhitespace(xml::TextOf(relatesTo)), requestMessageId);

    if (auto fault = ReadFault(body)) {
        if (relatesTo != nullptr && !related) return errors::kInvalidHeader;
        reply.faultMessage = std::move(fault->message);
        return fault->code;
    }
    if (!httpOk) return errors::HResultForHttpStatus(exchange.httpStatus);
    if (!related) return errors::kInvalidHeader;

    reply.document = std::move(document);
    reply.body = body;
    return 0;
}

}  // namespace wsman::soap
