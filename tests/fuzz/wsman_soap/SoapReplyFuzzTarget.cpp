#include "SoapReplyFuzzTarget.h"

#include <cstdlib>
#include <string>

#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"
#include "wsman/soap/EnvelopeReader.h"
#include "wsman/soap/Fault.h"
#include "wsman/soap/InvokeReply.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/Reply.h"
#include "wsman/soap/StandaloneXml.h"

void FuzzSoapReply(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    // The reply check reads the envelope in one pass; a relating reply goes on to its batch or its tree.
    for (const long status : {200L, 500L}) {
        for (const char* action : {wsman::ns::kActionEnumerate, wsman::ns::kActionPull, "urn:invoke"}) {
            wsman::soap::CheckedReply reply;
            wsman::soap::CheckReply({status, "application/soap+xml", text}, "uuid:X", action, reply);
        }
    }
    wsman::soap::EnvelopeSummary summary;
    if (wsman::soap::ReadEnvelope(text, summary) == wsman::soap::EnvelopeReadOutcome::Read) {
        // Each item's text must read alone into the very tree the pass built: one of the two readings
        // would otherwise give the records another content than the other.
        static wsman::xml::ItemTreeParser parser;
        wsman::xml::ItemArena arena;
        for (const wsman::EnumeratedItem& item : summary.items) {
            const wsman::xml::ItemTree* alone = parser.Parse(item.Text(), arena);
            if (alone == nullptr || item.Tree() == nullptr || !item.Tree()->SameAs(*alone)) std::abort();
        }
    }

    // The body parsers also run on replies the check would refuse (unrelated, faulted).
    const auto doc = wsman::xml::ParseUntrusted(text);
    if (!doc) return;
    xmlNode* root = xmlDocGetRootElement(doc.get());
    xmlNode* body = wsman::xml::FindChild(root, wsman::ns::kSoap, "Body");
    if (body == nullptr) body = root;
    wsman::soap::ReadFault(body);
    std::string output;
    wsman::soap::ReadInvokeOutput(body, output);
    wsman::xml::SerializeStandalone(root);
}
