#include "wsman/soap/EnumerationReply.h"

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/Namespaces.h"
#include "wsman/soap/StandaloneXml.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

HResult ReadEnumerationBatch(xmlNode* body, EnumerationBatch& batch) {
    batch = EnumerationBatch();
    const xmlNode* response = xml::FindChild(body, ns::kEnumeration, "EnumerateResponse");
    if (response == nullptr) response = xml::FindChild(body, ns::kEnumeration, "PullResponse");
    if (response == nullptr) return errors::kInvalidSoapBody;

    batch.context =
        xml::TrimWhitespace(xml::TextOf(xml::FindChild(response, ns::kEnumeration, "EnumerationContext")));
    batch.endOfSequence =
        xml::FindChildInEither(response, ns::kWsman, ns::kEnumeration, "EndOfSequence") != nullptr;
    const xmlNode* items = xml::FindChildInEither(response, ns::kWsman, ns::kEnumeration, "Items");
    for (xmlNode* item = xml::FirstChildElement(items); item != nullptr;
         item = xml::NextSiblingElement(item)) {
        batch.items.push_back(xml::SerializeStandalone(item));
    }
    if (!batch.endOfSequence && batch.context.empty()) return errors::kInvalidSoapBody;
    return 0;
}

}  // namespace wsman::soap
