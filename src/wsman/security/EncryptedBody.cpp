#include "wsman/security/EncryptedBody.h"

#include <strings.h>

#include <charconv>
#include <cstdint>

namespace wsman::security {
namespace {

constexpr std::string_view kBoundaryName = "Encrypted Boundary";

std::string LittleEndian32(std::uint32_t value) {
    std::string bytes(4, '\0');
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFF);
    }
    return bytes;
}

// Case-insensitive search, binary-safe.
std::size_t FindNoCase(std::string_view haystack, std::string_view needle, std::size_t from = 0) {
    if (needle.size() > haystack.size()) {
        return std::string_view::npos;
    }
    for (std::size_t i = from; i + needle.size() <= haystack.size(); ++i) {
        if (strncasecmp(haystack.data() + i, needle.data(), needle.size()) == 0) {
            return i;
        }
    }
    return std::string_view::npos;
}

// Length of a boundary delimiter starting at `at` ("--Encrypted Boundary" or "-- Encrypted Boundary"), else
// 0.
std::size_t DelimiterAt(std::string_view body, std::size_t at) {
    if (body.substr(at, 2) != "--") {
        return 0;
    }
    std::size_t name = at + 2;
    if (name < body.size() && body[name] == ' ') {
        ++name;
    }
    return body.substr(name, kBoundaryName.size()) == kBoundaryName ? name + kBoundaryName.size() - at : 0;
}

std::size_t FindDelimiter(std::string_view body, std::size_t from, std::size_t& delimiterLength) {
    for (std::size_t at = body.find("--", from); at != std::string_view::npos; at = body.find("--", at + 1)) {
        if ((delimiterLength = DelimiterAt(body, at)) != 0) {
            return at;
        }
    }
    return std::string_view::npos;
}

std::size_t SkipLineEnd(std::string_view body, std::size_t at) {
    if (body.substr(at, 2) == "\r\n") {
        return at + 2;
    }
    return at < body.size() && body[at] == '\n' ? at + 1 : at;
}

bool ParseMetadata(std::string_view text, EncryptedPart& part, std::string& error) {
    const std::size_t lengthAt = FindNoCase(text, "Length=");
    if (lengthAt == std::string_view::npos) {
        error = "encrypted part without OriginalContent Length";
        return false;
    }
    const char* digits = text.data() + lengthAt + 7;
    const char* end = text.data() + text.size();
    auto [stop, status] = std::from_chars(digits, end, part.originalLength);
    if (status != std::errc() || stop == digits) {
        error = "encrypted part with a bad OriginalContent Length";
        return false;
    }
    const std::size_t typeAt = FindNoCase(text, "type=");
    if (typeAt != std::string_view::npos && typeAt < lengthAt) {
        std::string_view type = text.substr(typeAt + 5, lengthAt - typeAt - 5);
        while (!type.empty() && (type.back() == ';' || type.back() == ' ')) {
            type.remove_suffix(1);
        }
        part.originalType = std::string(type);
    }
    return true;
}

}  // namespace

std::string BuildEncryptedBody(const EncryptedPart& part) {
    std::string body;
    body.reserve(part.header.size() + part.data.size() + 256);
    body += "--Encrypted Boundary\r\n";
    body += "\tContent-Type: ";
    body += kSpnegoEncryptedProtocol;
    body += "\r\n\tOriginalContent: type=";
    body += part.originalType.empty() ? kSoapContentType : part.originalType;
    body += ";Length=" + std::to_string(part.originalLength) + "\r\n";
    body += "--Encrypted Boundary\r\n";
    body += "\tContent-Type: application/octet-stream\r\n";
    body += LittleEndian32(static_cast<std::uint32_t>(part.header.size()));
    body += part.header;
    body += part.data;
    body += "--Encrypted Boundary--\r\n";
    return body;
}

bool IsEncryptedContentType(const std::string& contentType) {
    return FindNoCase(contentType, "multipart/encrypted") != std::string_view::npos ||
           FindNoCase(contentType, "multipart/x-multi-encrypted") != std::string_view::npos;
}

bool ParseEncryptedBody(std::string_view body, std::vector<EncryptedPart>& parts, std::string& error) {
    parts.clear();
    std::size_t delimiterLength = 0;
    std::size_t position = FindDelimiter(body, 0, delimiterLength);
    if (position == std::string_view::npos) {
        error = "no encrypted boundary in the reply";
        return false;
    }
    while (true) {
        position += delimiterLength;
        if (body.substr(position, 2) == "--") {
            break;  // closing delimiter
        }
        // Metadata part: text lines up to the next delimiter.
        const std::size_t metadataStart = SkipLineEnd(body, position);
        const std::size_t dataDelimiter = FindDelimiter(body, metadataStart, delimiterLength);
        if (dataDelimiter == std::string_view::npos) {
            error = "encrypted part without its data part";
            return false;
        }
        EncryptedPart part;
        if (!ParseMetadata(body.substr(metadataStart, dataDelimiter - metadataStart), part, error)) {
            return false;
        }
        // Data part: one Content-Type line, then LE32 header length, header, sealed data.
        const std::size_t lineStart = SkipLineEnd(body, dataDelimiter + delimiterLength);
        const std::size_t lineEnd = body.find('\n', lineStart);
        if (lineEnd == std::string_view::npos ||
            FindNoCase(body.substr(lineStart, lineEnd - lineStart), "application/octet-stream") ==
                std::string_view::npos) {
            error = "encrypted data part without its octet-stream line";
            return false;
        }
        const std::size_t lengthAt = lineEnd + 1;
        if (body.size() - lengthAt < 4) {
            error = "encrypted data part truncated before the header length";
            return false;
        }
        std::uint32_t headerLength = 0;
        for (int i = 3; i >= 0; --i) {
            headerLength = (headerLength << 8) | static_cast<unsigned char>(body[lengthAt + i]);
        }
        const std::size_t headerAt = lengthAt + 4;
        if (headerLength > body.size() - headerAt) {
            error = "encrypted header longer than the reply";
            return false;
        }
        const std::size_t dataAt = headerAt + headerLength;
        std::size_t dataEnd = std::string_view::npos;
        std::size_t next = std::string_view::npos;
        if (part.originalLength <= body.size() - dataAt) {
            const std::size_t announcedEnd = dataAt + part.originalLength;
            const std::size_t afterLineEnd = SkipLineEnd(body, announcedEnd);
            if ((delimiterLength = DelimiterAt(body, afterLineEnd)) != 0) {
                dataEnd = announcedEnd;
                next = afterLineEnd;
            }
        }
        if (dataEnd == std::string_view::npos) {
            next = FindDelimiter(body, dataAt, delimiterLength);
            if (next == std::string_view::npos) {
                error = "encrypted data part without a closing boundary";
                return false;
            }
            dataEnd = next;
        }
        part.header = body.substr(headerAt, headerLength);
        part.data = body.substr(dataAt, dataEnd - dataAt);
        parts.push_back(std::move(part));
        position = next;
    }
    if (parts.empty()) {
        error = "encrypted reply without any part";
        return false;
    }
    return true;
}

}  // namespace wsman::security
