#include "wsman/soap/InvokeReply.h"

#include "wsman/core/ErrorCodes.h"
#include "wsman/soap/StandaloneXml.h"
#include "wsman/soap/XmlPtr.h"

namespace wsman::soap {

HResult ReadInvokeOutput(xmlNode* body, std::string& output) {
    output.clear();
    xmlNode* element = xml::FirstChildElement(body);
    if (element == nullptr) return errors::kInvalidSoapBody;
    output = xml::SerializeStandalone(element);
    return 0;
}

}  // namespace wsman::soap
