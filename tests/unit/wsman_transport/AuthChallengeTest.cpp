#include <gtest/gtest.h>

#include "wsman/security/AuthChallenge.h"
#include "wsman/security/Base64.h"

namespace wsman::security {
namespace {

TEST(AuthChallenge, ReadsOffersAndTheGssTokenFromSeveralHeaders) {
    const auto offers = ParseAuthChallenges(
        {"Negotiate", "Kerberos", "Basic realm=\"WSMAN\", Digest realm=\"x\", qop=\"auth\""});
    ASSERT_EQ(offers.size(), 4u);
    EXPECT_TRUE(OffersScheme(offers, "negotiate"));
    EXPECT_TRUE(OffersScheme(offers, "Digest"));
    EXPECT_FALSE(OffersScheme(offers, "NTLM"));
    EXPECT_FALSE(FindGssToken(offers)) << "realm is a parameter, not a token";

    const std::string token("\x4e\x54\x4c\x4d\x00\x02\x01", 7);  // its Base64 ends in padding
    const auto found = FindGssToken(
        ParseAuthChallenges({"Basic realm=\"WSMAN\"", "negotiate  " + EncodeBase64(token) + " \r\n"}));
    ASSERT_TRUE(found);
    EXPECT_EQ(*found, token);
    EXPECT_EQ(*FindGssToken(ParseAuthChallenges({"Kerberos " + EncodeBase64("ap-rep")})), "ap-rep");
    for (const char* bad : {"Negotiate !!!not-base64", "Negotiate abc", ",,, ,", "Negotiate ,"}) {
        EXPECT_FALSE(FindGssToken(ParseAuthChallenges({bad}))) << bad;
    }
}

}  // namespace
}  // namespace wsman::security
