// The multipart/encrypted framing: what pywinrm and Windows send, and broken frames. The simulator's own
// frames meet pywinrm and the GSSAPI clients of the endpoint tests.
#include <gtest/gtest.h>

#include "server/EncryptedBody.h"

namespace qnsim {
namespace {

const std::string kContentType =
    "multipart/encrypted;protocol=\"application/HTTP-SPNEGO-session-encrypted\";boundary=\"Encrypted "
    "Boundary\"";

std::string Frame(const std::string& signature, const std::string& sealed, std::size_t length,
                  bool tabs = true) {
    const std::string indent = tabs ? "\t" : "";
    std::string body =
        "--Encrypted Boundary\r\n" + indent + "Content-Type: application/HTTP-SPNEGO-session-encrypted\r\n" +
        indent + "OriginalContent: type=application/soap+xml;charset=UTF-8;Length=" + std::to_string(length) +
        "\r\n--Encrypted Boundary\r\n" + indent + "Content-Type: application/octet-stream\r\n";
    for (int shift = 0; shift < 32; shift += 8) body += static_cast<char>(signature.size() >> shift & 0xFF);
    return body + signature + sealed + "--Encrypted Boundary--\r\n";
}

TEST(EncryptedBodyTest, ParsesBinaryPayloadByLengthsWithOrWithoutTabs) {
    const std::string signature("\x01\x00\x00\x00sigsigsig\r\n--E\x00", 16);
    // Sealed bytes that contain the boundary text and CRLFs must not confuse the parser.
    const std::string sealed =
        std::string("\r\n--Encrypted Boundary--\r\n\0\xff", 29) + std::string(100, 'z');
    for (bool tabs : {true, false}) {
        const auto parsed = ParseEncryptedBody(kContentType, Frame(signature, sealed, sealed.size(), tabs));
        ASSERT_TRUE(parsed) << "tabs=" << tabs;
        EXPECT_EQ(parsed->protocol, kSpnegoEncrypted);
        EXPECT_EQ(parsed->originalLength, sealed.size());
        EXPECT_EQ(parsed->signature, signature);
        EXPECT_EQ(parsed->sealed, sealed);
    }
}

TEST(EncryptedBodyTest, RefusesBrokenFrames) {
    const std::string good = Frame(std::string(16, 's'), std::string(40, 'd'), 40);
    ASSERT_TRUE(ParseEncryptedBody(kContentType, good));
    struct Case {
        const char* name;
        std::string contentType, body;
    };
    std::string hugeSignatureLength = good;
    hugeSignatureLength[good.find("octet-stream\r\n") + 14] = '\xff';
    const Case cases[] = {
        {"unknown protocol", "multipart/encrypted;protocol=\"application/HTTP-CredSSP-session-encrypted\"",
         good},
        {"length larger than the payload", kContentType,
         Frame(std::string(16, 's'), std::string(40, 'd'), 41)},
        {"signature length beyond the body", kContentType, hugeSignatureLength},
        {"missing closing boundary", kContentType, good.substr(0, good.size() - 6)},
        {"empty", kContentType, ""},
    };
    for (const Case& c : cases) EXPECT_FALSE(ParseEncryptedBody(c.contentType, c.body)) << c.name;
}

}  // namespace
}  // namespace qnsim
