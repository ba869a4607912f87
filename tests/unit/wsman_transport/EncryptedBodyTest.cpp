#include <gtest/gtest.h>

#include "ChannelTestSupport.h"
#include "wsman/security/EncryptedBody.h"

namespace wsman::security {
namespace {

const std::string kHeader16 = std::string("\x01\x00\x00\x00", 4) + std::string(12, '\x7f');
const std::string kClosing = "--Encrypted Boundary--\r\n";

TEST(EncryptedBody, BuildsTheWindowsFramingAndParsesServerVariants) {
    EXPECT_EQ(BuildEncryptedBody({5, kSoapContentType, kHeader16, "ABCDE"}),
              test::FrameEncrypted(kHeader16, "ABCDE", 5));
    // Sealed bytes may hold the boundary text and NUL bytes.
    const std::string data = std::string("x\0--Encrypted Boundary--\r\n\0y", 29);
    const std::string one = test::FrameEncrypted("H1", "first", 5);
    const struct {
        const char* what;
        std::string body;
        std::vector<std::pair<std::string, std::string>> parts;  // header, data
        std::size_t firstLength;
    } cases[] = {
        {"built",
         BuildEncryptedBody({data.size(), kSoapContentType, kHeader16, data}),
         {{kHeader16, data}},
         29},
        // No TABs, a space in the delimiter, a CRLF before the closing delimiter, lower-case "length=".
        {"loose",
         "-- Encrypted Boundary\r\nContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
         "OriginalContent: type=application/soap+xml;charset=UTF-8;length=3\r\n"
         "-- Encrypted Boundary\r\nContent-Type: application/octet-stream\r\n" +
             std::string("\x02\x00\x00\x00", 4) + "HHabc\r\n-- Encrypted Boundary--\r\n",
         {{"HH", "abc"}},
         3},
        // Kerberos with padding: Length counts more bytes than stand before the delimiter.
        {"padded", test::FrameEncrypted("HDR", "abcdef", 9), {{"HDR", "abcdef"}}, 9},
        {"two parts sharing the delimiters",
         one.substr(0, one.size() - kClosing.size()) + test::FrameEncrypted("H2", "second", 6),
         {{"H1", "first"}, {"H2", "second"}},
         5},
    };
    for (const auto& c : cases) {
        std::vector<EncryptedPart> parts;
        std::string error;
        ASSERT_TRUE(ParseEncryptedBody(c.body, parts, error)) << c.what << ": " << error;
        ASSERT_EQ(parts.size(), c.parts.size()) << c.what;
        EXPECT_EQ(parts[0].originalLength, c.firstLength) << c.what;
        EXPECT_EQ(parts[0].originalType, kSoapContentType) << c.what;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            EXPECT_EQ(parts[i].header, c.parts[i].first) << c.what;
            EXPECT_EQ(parts[i].data, c.parts[i].second) << c.what;
        }
    }
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
