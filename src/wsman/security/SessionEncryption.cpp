#include "wsman/security/SessionEncryption.h"

#include <vector>

#include "wsman/security/EncryptedBody.h"

namespace wsman::security {
namespace {

// Kerberos (RFC 4121) with an RC4 or DES enctype pads to its block size; AES pads nothing. The
// announced Length then counts the padding.
constexpr std::size_t kMaxPadding = 16;

}  // namespace

bool SealMessage(GssSecurityContext& context, const std::string& soap, std::string& body,
                 std::string& error) {
    EncryptedPart part;
    if (!context.Wrap(soap, part.header, part.data, error)) {
        return false;
    }
    part.originalLength = part.data.size();
    part.originalType = kSoapContentType;
    body = BuildEncryptedBody(part);
    return true;
}

bool UnsealMessage(GssSecurityContext& context, const std::string& body, std::string& soap,
                   std::string& contentType, std::string& error) {
    std::vector<EncryptedPart> parts;
    if (!ParseEncryptedBody(body, parts, error)) {
        return false;
    }
    soap.clear();
    for (const EncryptedPart& part : parts) {
        std::string plaintext;
        if (!context.Unwrap(part.header, part.data, plaintext, error)) {
            return false;
        }
        if (plaintext.size() > part.originalLength || part.originalLength - plaintext.size() > kMaxPadding) {
            error = "unsealed length " + std::to_string(plaintext.size()) + " does not match the announced " +
                    std::to_string(part.originalLength);
            return false;
        }
        soap += plaintext;
        contentType = part.originalType;
    }
    return true;
}

}  // namespace wsman::security
