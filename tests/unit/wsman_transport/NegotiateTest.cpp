// Negotiate: the server's challenge headers, and which mechanism the client opens with under which name:
// SPNEGO (Kerberos first) only for a domain that a configured realm answers to, NTLM directly otherwise, so
// no KDC is asked about a Windows domain.
#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "wsman/security/AuthChallenge.h"
#include "wsman/security/Base64.h"
#include "wsman/security/NegotiateIdentity.h"

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

TEST(NegotiateIdentity, RealmForADomain) {
    ConfiguredRealms configured{{"LAB.ONE.TEST", "Corp.Example.Test"}, ""};
    const auto realm = [&](const char* domain) { return RealmForDomain(domain, configured).value_or("-"); };
    EXPECT_EQ(realm("lab"), "LAB.ONE.TEST");
    EXPECT_EQ(realm("CORP"), "Corp.Example.Test");  // spelled as the configuration spells it
    EXPECT_EQ(realm("LA"), "-");
    EXPECT_EQ(realm("CORP.EXAMPLE"), "-");

    // Two realms share the label: only the default realm, or one named exactly so, is taken.
    configured.realms.push_back("LAB.TWO.TEST");
    EXPECT_EQ(realm("LAB"), "-");
    configured.defaultRealm = "LAB.TWO.TEST";
    EXPECT_EQ(realm("LAB"), "LAB.TWO.TEST");
    configured.realms.push_back("Lab");
    EXPECT_EQ(realm("LAB"), "Lab");
}

TEST(NegotiateIdentity, ChosenFromTheKrb5Configuration) {
    const test::ScratchFolder folder;
    const test::ScopedEnv config("KRB5_CONFIG", folder.Write("krb5.conf",
                                                             "[libdefaults]\n default_realm = OTHER.TEST\n"
                                                             "[realms]\n LAB.EXAMPLE.TEST = {\n }\n"));
    const auto choose = [](const std::string& userName) {
        const NegotiateIdentity identity = ChooseNegotiateIdentity(userName);
        return std::string(identity.mechanism == GssMechanism::Ntlm ? "NTLM " : "SPNEGO ") +
               identity.userName;
    };
    EXPECT_EQ(choose("LAB\\alice"), "SPNEGO alice@LAB.EXAMPLE.TEST");
    EXPECT_EQ(choose("other\\alice"), "SPNEGO alice@OTHER.TEST");  // the default realm needs no section
    // The default realm is no stand-in for an unrelated domain, nor for a name without one.
    EXPECT_EQ(choose("CORP\\alice"), "NTLM CORP\\alice");
    EXPECT_EQ(choose("alice"), "NTLM alice");
    EXPECT_EQ(choose("alice@CORP.TEST"), "SPNEGO alice@CORP.TEST");

    const test::ScopedEnv broken("KRB5_CONFIG",
                                 folder.Write("broken.conf", "[realms\n LAB.EXAMPLE.TEST = {\n }\n"));
    EXPECT_EQ(choose("LAB\\alice"), "NTLM LAB\\alice");
}

}  // namespace
}  // namespace wsman::security
