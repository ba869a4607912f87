#include "wsman/security/SessionEncryption.h"

#include <vector>

#include "wsman/core/SpareBuffers.h"
#include "wsman/security/EncryptedBody.h"

namespace wsman::security {
namespace {

// Kerberos (RFC 4121) with an RC4 or DES enctype pads to its block size; AES pads nothing. The
// announced Length then counts the padding.
constexpr std::size_t kMaxPadding = 16;

}  // namespace

bool SealMessage(GssSecurityContext& context, const std::string& soap, std::string& body,
                 std::string& error) {
    std::string header;
    std::string sealed;
    if (!context.Wrap(soap, header, sealed, error)) {
        return false;
    }
    EncryptedPart part;
    part.header = header;
    part.data = sealed;
    part.originalLength = part.data.size();
    part.originalType = kSoapContentType;
    body = BuildEncryptedBody(part);
    return true;
}

bool UnsealMessage(GssSecurityContext& context, std::string& body, std::string& soap,
                   std::string& contentType, std::string& error) {
    std::vector<EncryptedPart> parts;
    if (!ParseEncryptedBody(body, parts, error)) {
        return false;
    }
    // The plaintext is no longer than the sealed body.
    ReserveReplyBuffer(soap, body.size());
    for (const EncryptedPart& part : parts) {
        const std::size_t before = soap.size();
        char* token = body.data() + (part.header.data() - body.data());
        if (!context.Unwrap(token, part.header.size() + part.data.size(), soap, error)) {
            return false;
        }
        const std::size_t unsealed = soap.size() - before;
        if (unsealed > part.originalLength || part.originalLength - unsealed > kMaxPadding) {
            error = "unsealed length " + std::to_string(unsealed) + " does not match the announced " +
                    std::to_string(part.originalLength);
            return false;
        }
        contentType = part.originalType;
    }
    return true;
}

}  // namespace wsman::security
