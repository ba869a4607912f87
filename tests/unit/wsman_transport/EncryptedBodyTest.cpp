#include <gtest/gtest.h>

#include <memory>

#include "ChannelTestSupport.h"
#include "wsman/security/EncryptedBody.h"

namespace wsman::security {
namespace {

const std::string kHeader16 = std::string("\x01\x00\x00\x00", 4) + std::string(12, '\x7f');
const std::string kClosing = "--Encrypted Boundary--\r\n";

// The parts are views into the body, which lives as long as the parsed result.
struct Parsed {
    std::string body;
    std::vector<EncryptedPart> parts;
};

std::unique_ptr<Parsed> Parse(std::string body) {
    auto parsed = std::make_unique<Parsed>(Parsed{std::move(body), {}});
    std::string error;
    EXPECT_TRUE(ParseEncryptedBody(parsed->body, parsed->parts, error)) << error;
    return parsed;
}

TEST(EncryptedBody, BuildsAndParsesTheWindowsFraming) {
    EXPECT_EQ(BuildEncryptedBody({5, kSoapContentType, kHeader16, "ABCDE"}),
              test::FrameEncrypted(kHeader16, "ABCDE", 5));
    // Sealed bytes may hold the boundary text and NUL bytes.
    const std::string data = std::string("x\0--Encrypted Boundary--\r\n\0y", 29);
    const auto parts = Parse(BuildEncryptedBody({data.size(), kSoapContentType, kHeader16, data}));
    ASSERT_EQ(parts->parts.size(), 1u);
    EXPECT_EQ(parts->parts[0].originalLength, data.size());
    EXPECT_EQ(parts->parts[0].originalType, kSoapContentType);
    EXPECT_EQ(parts->parts[0].header, kHeader16);
    EXPECT_EQ(parts->parts[0].data, data);
}

TEST(EncryptedBody, ToleratesServerVariants) {
    // No TABs, a space in the delimiter, a CRLF before the closing delimiter, lower-case "length=".
    const auto loose = Parse(
        "-- Encrypted Boundary\r\nContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
        "OriginalContent: type=application/soap+xml;charset=UTF-8;length=3\r\n"
        "-- Encrypted Boundary\r\nContent-Type: application/octet-stream\r\n" +
        std::string("\x02\x00\x00\x00", 4) + "HHabc\r\n-- Encrypted Boundary--\r\n");
    ASSERT_EQ(loose->parts.size(), 1u);
    EXPECT_EQ(loose->parts[0].header, "HH");
    EXPECT_EQ(loose->parts[0].data, "abc");

    // Kerberos with padding: Length counts more bytes than stand before the delimiter.
    const auto padded = Parse(test::FrameEncrypted("HDR", "abcdef", 9));
    ASSERT_EQ(padded->parts.size(), 1u);
    EXPECT_EQ(padded->parts[0].data, "abcdef");

    // Two parts share the delimiters.
    const std::string one = test::FrameEncrypted("H1", "first", 5);
    const auto two =
        Parse(one.substr(0, one.size() - kClosing.size()) + test::FrameEncrypted("H2", "second", 6));
    ASSERT_EQ(two->parts.size(), 2u);
    EXPECT_EQ(two->parts[0].data, "first");
    EXPECT_EQ(two->parts[1].header, "H2");
    EXPECT_EQ(two->parts[1].data, "second");
}

TEST(EncryptedBody, RejectsMalformedReplies) {
    const std::string good = test::FrameEncrypted(kHeader16, "sealed", 6);
    const std::string dataPart = "--Encrypted Boundary\r\n\tContent-Type: application/octet-stream\r\n";
    const std::string cases[] = {
        "<s:Envelope/>",
        good.substr(0, good.find("\tContent-Type: application/octet-stream")),  // no data part
        good.substr(0, good.find("application/octet-stream") + 26),             // cut before the LE32
        good.substr(0, good.size() - 30),                                       // no closing delimiter
        "--Encrypted Boundary\r\n\tOriginalContent: type=x\r\n" + dataPart + "\x10\x00\x00\x00" + kClosing,
        "--Encrypted Boundary\r\n\tOriginalContent: type=x;Length=1\r\n" + dataPart + "\xff\xff\xff\x7f",
    };
    for (const std::string& body : cases) {
        std::vector<EncryptedPart> parts;
        std::string error;
        EXPECT_FALSE(ParseEncryptedBody(body, parts, error)) << body;
        EXPECT_FALSE(error.empty());
    }
}

}  // namespace
}  // namespace wsman::security
