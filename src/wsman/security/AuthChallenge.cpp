#include "wsman/security/AuthChallenge.h"

#include <strings.h>

#include "wsman/security/Base64.h"

namespace wsman::security {
namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string Trim(const std::string& text) {
    std::size_t begin = 0;
    std::size_t end = text.size();
    while (begin < end && IsBlank(text[begin])) {
        ++begin;
    }
    while (end > begin && IsBlank(text[end - 1])) {
        --end;
    }
    return text.substr(begin, end - begin);
}

bool SameScheme(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

bool IsGssScheme(const std::string& scheme) {
    return SameScheme(scheme, "Negotiate") || SameScheme(scheme, "Kerberos");
}

}  // namespace

std::vector<AuthChallenge> ParseAuthChallenges(const std::vector<std::string>& headerValues) {
    std::vector<AuthChallenge> challenges;
    for (const std::string& value : headerValues) {
        std::size_t position = 0;
        while (position <= value.size()) {
            std::size_t comma = value.find(',', position);
            if (comma == std::string::npos) {
                comma = value.size();
            }
            const std::string item = Trim(value.substr(position, comma - position));
            position = comma + 1;
            if (item.empty()) {
                continue;
            }
            std::size_t schemeEnd = 0;
            while (schemeEnd < item.size() && !IsBlank(item[schemeEnd])) {
                ++schemeEnd;
            }
            const std::string first = item.substr(0, schemeEnd);
            const std::string rest = Trim(item.substr(schemeEnd));
            if (first.find('=') != std::string::npos) {
                continue;  // an auth-param of the previous challenge (realm="x", charset=...)
            }
            AuthChallenge challenge{first, {}};
            if (rest.find('=') == std::string::npos ||
                (IsGssScheme(first) && rest.find('"') == std::string::npos)) {
                challenge.token = rest;  // token68 (its trailing '=' padding is not a parameter)
            }
            challenges.push_back(std::move(challenge));
        }
    }
    return challenges;
}

bool OffersScheme(const std::vector<AuthChallenge>& challenges, const std::string& scheme) {
    for (const AuthChallenge& challenge : challenges) {
        if (SameScheme(challenge.scheme, scheme)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> FindGssToken(const std::vector<AuthChallenge>& challenges) {
    for (const AuthChallenge& challenge : challenges) {
        if (!IsGssScheme(challenge.scheme) || challenge.token.empty()) {
            continue;
        }
        if (auto token = DecodeBase64(challenge.token); token && !token->empty()) {
            return token;
        }
    }
    return std::nullopt;
}

}  // namespace wsman::security
