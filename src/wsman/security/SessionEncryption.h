// Message encryption over HTTP: a SOAP envelope sealed with the session's security context and
// framed as multipart/encrypted, and the way back.
#pragma once

#include <string>

#include "wsman/security/GssSecurityContext.h"

namespace wsman::security {

// Returns the multipart/encrypted body (its Content-Type is kEncryptedContentType).
bool SealMessage(GssSecurityContext& context, const std::string& soap, std::string& body, std::string& error);

// Unseals every part of a multipart/encrypted reply into `soap` (its capacity is kept, so a buffer
// reused from reply to reply is not allocated again). The body is decrypted in place where the mechanism
// can; its sealed bytes are undefined afterwards. `contentType` receives the original content type the
// reply announces.
bool UnsealMessage(GssSecurityContext& context, std::string& body, std::string& soap,
                   std::string& contentType, std::string& error);

}  // namespace wsman::security
