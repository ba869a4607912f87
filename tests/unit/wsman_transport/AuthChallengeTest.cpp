#include <gtest/gtest.h>

#include "wsman/security/AuthChallenge.h"
#include "wsman/security/Base64.h"

namespace wsman::security {
namespace {

TEST(AuthChallenge, ReadsOffersFromSeveralHeadersAndLists) {
    const auto challenges = ParseAuthChallenges(
        {"Negotiate", "Kerberos", "Basic realm=\"WSMAN\", Digest realm=\"x\", qop=\"auth\""});
    ASSERT_EQ(challenges.size(), 4u);
    EXPECT_TRUE(OffersScheme(challenges, "negotiate"));
    EXPECT_TRUE(OffersScheme(challenges, "Basic"));
    EXPECT_TRUE(OffersScheme(challenges, "Digest"));
    EXPECT_FALSE(OffersScheme(challenges, "NTLM"));
    EXPECT_TRUE(challenges[2].token.empty());  // realm is a parameter, not a token
    EXPECT_FALSE(FindGssToken(challenges));
}

TEST(AuthChallenge, DecodesTheGssTokenWithPadding) {
    const std::string token("\x4e\x54\x4c\x4d\x00\x02\x01", 7);
    const auto challenges =
        ParseAuthChallenges({"Basic realm=\"WSMAN\"", "negotiate  " + EncodeBase64(token) + " \r\n"});
    ASSERT_EQ(EncodeBase64(token).back(), '=');
    const auto found = FindGssToken(challenges);
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, token);
    EXPECT_EQ(*FindGssToken(ParseAuthChallenges({"Kerberos " + EncodeBase64("ap-rep")})), "ap-rep");
}

TEST(AuthChallenge, IgnoresUndecodableTokens) {
    EXPECT_FALSE(FindGssToken(ParseAuthChallenges({"Negotiate !!!not-base64"})));
    EXPECT_FALSE(FindGssToken(ParseAuthChallenges({"Negotiate abc"})));
    EXPECT_FALSE(FindGssToken(ParseAuthChallenges({"", ",,, ,", "Negotiate ,"})));
}

TEST(Base64, RoundTripsBinaryAndRejectsGarbage) {
    const std::string bytes("\x00\xff\x10 binary\x00", 10);
    EXPECT_EQ(DecodeBase64(EncodeBase64(bytes)), bytes);
    EXPECT_EQ(EncodeBase64("Passw0rd"), "UGFzc3cwcmQ=");
    EXPECT_FALSE(DecodeBase64("abc"));
    EXPECT_FALSE(DecodeBase64("ab$="));
    for (const char* badPadding : {"====", "a===", "ab=c", "=abc", "abc=abc="}) {
        EXPECT_FALSE(DecodeBase64(badPadding)) << badPadding;
    }
    EXPECT_EQ(DecodeBase64("  "), std::string());
}

}  // namespace
}  // namespace wsman::security
