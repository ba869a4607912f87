#include <gtest/gtest.h>

#include "TestWinrmEndpoint.h"
#include "wsman/security/EncryptedBody.h"

namespace wsman::security {
namespace {

std::string Header16() {
    return std::string("\x01\x00\x00\x00", 4) + std::string(12, '\x7f');
}

TEST(EncryptedBody, BuildsTheFramingWindowsExpects) {
    EncryptedPart part{5, kSoapContentType, Header16(), "ABCDE"};
    const std::string expected =
        "--Encrypted Boundary\r\n\tContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
        "\tOriginalContent: type=application/soap+xml;charset=UTF-8;Length=5\r\n"
        "--Encrypted Boundary\r\n\tContent-Type: application/octet-stream\r\n" +
        std::string("\x10\x00\x00\x00", 4) + Header16() + "ABCDE--Encrypted Boundary--\r\n";
    EXPECT_EQ(BuildEncryptedBody(part), expected);
}

TEST(EncryptedBody, ParsesWhatAServerFrames) {
    std::vector<EncryptedPart> parts;
    std::string error;
    ASSERT_TRUE(ParseEncryptedBody(test::FrameEncrypted(Header16(), "sealed", 6), parts, error)) << error;
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(parts[0].originalLength, 6u);
    EXPECT_EQ(parts[0].originalType, kSoapContentType);
    EXPECT_EQ(parts[0].header, Header16());
    EXPECT_EQ(parts[0].data, "sealed");
}

TEST(EncryptedBody, SealedBytesMayContainBoundaryTextAndNulBytes) {
    const std::string data = std::string("x\0--Encrypted Boundary--\r\n\0y", 29);
    const EncryptedPart part{data.size(), kSoapContentType, Header16(), data};
    std::vector<EncryptedPart> parts;
    std::string error;
    ASSERT_TRUE(ParseEncryptedBody(BuildEncryptedBody(part), parts, error)) << error;
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(parts[0].data, data);
}

TEST(EncryptedBody, ToleratesServerVariants) {
    std::vector<EncryptedPart> parts;
    std::string error;
    // No TABs, a space in the delimiter, a CRLF before the closing delimiter, lower-case "length=".
    const std::string body =
        "-- Encrypted Boundary\r\nContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
        "OriginalContent: type=application/soap+xml;charset=UTF-8;length=3\r\n"
        "-- Encrypted Boundary\r\nContent-Type: application/octet-stream\r\n" +
        std::string("\x02\x00\x00\x00", 4) + "HHabc\r\n-- Encrypted Boundary--\r\n";
    ASSERT_TRUE(ParseEncryptedBody(body, parts, error)) << error;
    ASSERT_EQ(parts.size(), 1u);
    EXPECT_EQ(parts[0].header, "HH");
    EXPECT_EQ(parts[0].data, "abc");
}

TEST(EncryptedBody, FallsBackToTheBoundaryWhenLengthCountsPadding) {
    // Kerberos with padding: Length exceeds the bytes actually present before the delimiter.
    std::vector<EncryptedPart> parts;
    std::string error;
    ASSERT_TRUE(ParseEncryptedBody(test::FrameEncrypted("HDR", "abcdef", 9), parts, error)) << error;
    EXPECT_EQ(parts[0].data, "abcdef");
    EXPECT_EQ(parts[0].originalLength, 9u);
}

TEST(EncryptedBody, ParsesSeveralParts) {
    const std::string one = test::FrameEncrypted("H1", "first", 5);
    const std::string two = test::FrameEncrypted("H2", "second", 6);
    // Two parts share the delimiters: drop the closing one of the first.
    const std::string body =
        one.substr(0, one.size() - std::string("--Encrypted Boundary--\r\n").size()) + two;
    std::vector<EncryptedPart> parts;
    std::string error;
    ASSERT_TRUE(ParseEncryptedBody(body, parts, error)) << error;
    ASSERT_EQ(parts.size(), 2u);
    EXPECT_EQ(parts[0].data, "first");
    EXPECT_EQ(parts[1].header, "H2");
    EXPECT_EQ(parts[1].data, "second");
}

TEST(EncryptedBody, RejectsMalformedReplies) {
    const std::string good = test::FrameEncrypted(Header16(), "sealed", 6);
    const std::string noLength =
        "--Encrypted Boundary\r\n\tOriginalContent: type=x\r\n--Encrypted Boundary\r\n"
        "\tContent-Type: application/octet-stream\r\n\x10\x00\x00\x00--Encrypted Boundary--";
    const std::string hugeHeader =
        "--Encrypted Boundary\r\n\tOriginalContent: type=x;Length=1\r\n--Encrypted "
        "Boundary\r\n\tContent-Type: application/octet-stream\r\n\xff\xff\xff\x7f";
    const std::string cases[] = {
        "",
        "<s:Envelope/>",
        good.substr(0, good.find("\tContent-Type: application/octet-stream")),  // no data part
        good.substr(0, good.find("application/octet-stream") + 26),             // cut before the LE32
        good.substr(0, good.size() - 30),                                       // no closing delimiter
        noLength,
        hugeHeader,
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
