// What a server offers in its WWW-Authenticate headers.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace wsman::security {

struct AuthChallenge {
    std::string scheme;  // as sent ("Negotiate", "Kerberos", "Basic", ...)
    std::string token;   // base64 text after the scheme; empty for a bare offer or Basic's realm parameters
};

// One header value may carry several challenges separated by commas (RFC 7235); Basic's
// `realm="..."` parameters are not tokens and are dropped.
std::vector<AuthChallenge> ParseAuthChallenges(const std::vector<std::string>& headerValues);

bool OffersScheme(const std::vector<AuthChallenge>& challenges, const std::string& scheme);

// The decoded GSS token of the first Negotiate or Kerberos challenge that carries one.
// Empty optional when none carries a token; throws nothing, bad base64 counts as no token.
std::optional<std::string> FindGssToken(const std::vector<AuthChallenge>& challenges);

}  // namespace wsman::security
