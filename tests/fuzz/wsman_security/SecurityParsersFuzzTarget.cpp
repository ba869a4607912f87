#include "SecurityParsersFuzzTarget.h"

#include <cstdlib>
#include <string>
#include <vector>

#include "wsman/security/AuthChallenge.h"
#include "wsman/security/EncryptedBody.h"

namespace wsman::fuzz {
namespace {

void Require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void CheckEncryptedBody(const std::string& body) {
    std::vector<security::EncryptedPart> parts;
    std::string error;
    if (!security::ParseEncryptedBody(body, parts, error)) {
        Require(!error.empty());
        return;
    }
    Require(!parts.empty());
    std::size_t carried = 0;
    for (const security::EncryptedPart& part : parts) {
        carried += part.header.size() + part.data.size();
    }
    Require(carried <= body.size());
    // What we would send must read back as the same part.
    for (const security::EncryptedPart& part : parts) {
        security::EncryptedPart sent = part;
        sent.originalLength = part.data.size();
        std::vector<security::EncryptedPart> reread;
        const std::string built = security::BuildEncryptedBody(sent);
        Require(security::ParseEncryptedBody(built, reread, error));
        Require(reread.size() == 1 && reread[0].header == sent.header && reread[0].data == sent.data);
    }
}

void CheckChallenges(const std::string& text) {
    std::vector<std::string> headers;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find('\n', start)) != std::string::npos; start = end + 1) {
        headers.push_back(text.substr(start, end - start));
    }
    headers.push_back(text.substr(start));
    const auto challenges = security::ParseAuthChallenges(headers);
    for (const auto& challenge : challenges) {
        Require(!challenge.scheme.empty());
    }
    if (const auto token = security::FindGssToken(challenges)) {
        Require(!token->empty() && token->size() <= text.size());
    }
}

}  // namespace

void FuzzSecurityParsers(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    CheckEncryptedBody(input);
    CheckChallenges(input);
}

}  // namespace wsman::fuzz
