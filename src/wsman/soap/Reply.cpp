#include "wsman/soap/Reply.h"

#include <algorithm>
#include <cctype>

#include "wsman/core/AttributeBound.h"
#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/EnvelopeReader.h"
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

std::string RefusalText(EnvelopeReadOutcome outcome) {
    switch (outcome) {
        case EnvelopeReadOutcome::AttributeFlood:
            return "the reply has an element with more than " +
                   std::to_string(xml::kMaxAttributesPerElement) + " attributes";
        default:
            return "the reply is not well-formed XML or carries a DTD";
    }
}

// The fault's code and message, read from the tree of the reply (faults are rare and small).
HResult ReadFaultOf(const std::string& text, CheckedReply& reply) {
    const xml::DocPtr document = xml::ParseUntrusted(text);
    const xmlNode* body =
        document ? xml::FindChild(xmlDocGetRootElement(document.get()), ns::kSoap, "Body") : nullptr;
    std::optional<SoapFault> fault = body != nullptr ? ReadFault(body) : std::nullopt;
    if (!fault) return errors::kInvalidXml;
    reply.faultMessage = std::move(fault->message);
    return fault->code;
}

HResult TakeBatch(EnvelopeSummary& summary, const std::string& requestAction, CheckedReply& reply) {
    const auto wanted = requestAction == ns::kActionEnumerate ? EnvelopeSummary::Response::Enumerate
                                                              : EnvelopeSummary::Response::Pull;
    if (summary.response != wanted) {
        reply.problem = "the reply holds no response to the request";
        return errors::kInvalidSoapBody;
    }
    reply.batch.context = xml::TrimWhitespace(summary.context);
    reply.batch.endOfSequence = summary.endOfSequence;
    reply.batch.items = std::move(summary.items);
    if (!reply.batch.endOfSequence && reply.batch.context.empty()) {
        reply.problem = "the enumeration goes on without a context";
        return errors::kInvalidSoapBody;
    }
    return 0;
}

}  // namespace

HResult CheckReply(const Exchange& exchange, const std::string& requestMessageId,
                   const std::string& requestAction, CheckedReply& reply,
                   std::shared_ptr<xml::ItemArena> itemArena) {
    reply = CheckedReply();
    const bool httpOk = exchange.httpStatus == 200;
    EnvelopeSummary summary;
    if (const EnvelopeReadOutcome outcome = ReadEnvelope(exchange.body, summary, std::move(itemArena));
        outcome != EnvelopeReadOutcome::Read) {
        reply.problem = RefusalText(outcome);
        return httpOk ? errors::kInvalidXml : errors::HResultForHttpStatus(exchange.httpStatus);
    }
    if (!summary.isEnvelope) {
        reply.problem = "the reply is not a SOAP envelope with a body";
        return httpOk ? errors::kInvalidSoapBody : errors::HResultForHttpStatus(exchange.httpStatus);
    }
    const bool related =
        summary.hasRelatesTo && SameIdentifier(xml::TrimWhitespace(summary.relatesTo), requestMessageId);
    if (summary.hasFault) {
        if (summary.hasRelatesTo && !related) return errors::kInvalidHeader;
        return ReadFaultOf(exchange.body, reply);
    }
    if (!httpOk) return errors::HResultForHttpStatus(exchange.httpStatus);
    if (!related) {
        reply.problem = "the reply does not relate to the request";
        return errors::kInvalidHeader;
    }
    const std::string action = xml::TrimWhitespace(summary.action);
    if (action != requestAction + "Response") {
        reply.problem = "the reply's action \"" + action + "\" does not answer \"" + requestAction + "\"";
        return errors::kInvalidHeader;
    }
    if (requestAction == ns::kActionEnumerate || requestAction == ns::kActionPull)
        return TakeBatch(summary, requestAction, reply);
    if (requestAction == ns::kActionRelease) return 0;
    reply.document = xml::ParseUntrusted(exchange.body);
    if (!reply.document) return errors::kInvalidXml;
    reply.body = xml::FindChild(xmlDocGetRootElement(reply.document.get()), ns::kSoap, "Body");
    return reply.body != nullptr ? 0 : errors::kInvalidSoapBody;
}

}  // namespace wsman::soap
