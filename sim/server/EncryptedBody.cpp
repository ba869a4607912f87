#include "server/EncryptedBody.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace qnsim {
namespace {

constexpr std::string_view kDefaultBoundary = "Encrypted Boundary";

bool EqualsIgnoreCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

std::string_view Unquote(std::string_view text) {
    text = Trim(text);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') return text.substr(1, text.size() - 2);
    return text;
}

// Value of `name` among the ';'-separated parameters of a header value.
std::optional<std::string_view> Parameter(std::string_view headerValue, std::string_view name) {
    while (!headerValue.empty()) {
        const std::size_t semicolon = headerValue.find(';');
        std::string_view item = Trim(headerValue.substr(0, semicolon));
        headerValue =
            semicolon == std::string_view::npos ? std::string_view{} : headerValue.substr(semicolon + 1);
        const std::size_t equals = item.find('=');
        if (equals != std::string_view::npos && EqualsIgnoreCase(Trim(item.substr(0, equals)), name))
            return Unquote(item.substr(equals + 1));
    }
    return std::nullopt;
}

// Reads one CRLF-terminated line from `rest`.
std::optional<std::string_view> NextLine(std::string_view& rest) {
    const std::size_t end = rest.find("\r\n");
    if (end == std::string_view::npos) return std::nullopt;
    std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 2);
    return line;
}

std::optional<std::size_t> ParseLength(std::string_view text) {
    if (text.empty() || text.size() > 10) return std::nullopt;
    std::size_t value = 0;
    for (char c : text) {
        if (c < '0' || c > '9') return std::nullopt;
        value = value * 10 + static_cast<std::size_t>(c - '0');
    }
    return value;
}

}  // namespace

bool IsEncryptedContentType(std::string_view contentType) {
    const std::string_view type = Trim(contentType.substr(0, contentType.find(';')));
    return EqualsIgnoreCase(type, "multipart/encrypted");
}

std::optional<EncryptedBody> ParseEncryptedBody(std::string_view contentType, std::string_view body) {
    if (!IsEncryptedContentType(contentType)) return std::nullopt;
    const auto protocol = Parameter(contentType.substr(contentType.find(';') + 1), "protocol");
    if (!protocol) return std::nullopt;
    EncryptedBody parts;
    if (EqualsIgnoreCase(*protocol, kSpnegoEncrypted))
        parts.protocol = kSpnegoEncrypted;
    else if (EqualsIgnoreCase(*protocol, kKerberosEncrypted))
        parts.protocol = kKerberosEncrypted;
    else
        return std::nullopt;
    const std::string_view boundary =
        Parameter(contentType.substr(contentType.find(';') + 1), "boundary").value_or(kDefaultBoundary);
    const std::string delimiter = "--" + std::string(boundary);

    std::string_view rest = body;
    auto line = NextLine(rest);
    if (!line || Trim(*line) != delimiter) return std::nullopt;

    // First part: its headers up to the next delimiter line; Length= sits in OriginalContent.
    std::optional<std::size_t> length;
    for (;;) {
        line = NextLine(rest);
        if (!line) return std::nullopt;
        const std::string_view header = Trim(*line);
        if (header == delimiter) break;
        const std::size_t colon = header.find(':');
        if (colon == std::string_view::npos) return std::nullopt;
        if (EqualsIgnoreCase(Trim(header.substr(0, colon)), "OriginalContent")) {
            const auto value = Parameter(header.substr(colon + 1), "Length");
            if (!value || !(length = ParseLength(*value))) return std::nullopt;
        }
    }
    if (!length) return std::nullopt;
    parts.originalLength = *length;

    // Second part: one header line (application/octet-stream), then the binary payload right after its CRLF.
    line = NextLine(rest);
    if (!line) return std::nullopt;
    const std::string_view header = Trim(*line);
    const std::size_t colon = header.find(':');
    if (colon == std::string_view::npos || !EqualsIgnoreCase(Trim(header.substr(0, colon)), "Content-Type") ||
        !EqualsIgnoreCase(Trim(header.substr(colon + 1)), "application/octet-stream"))
        return std::nullopt;

    if (rest.size() < 4) return std::nullopt;
    const auto byte = [&](std::size_t i) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(rest[i]));
    };
    const std::uint32_t signatureLength = byte(0) | byte(1) << 8 | byte(2) << 16 | byte(3) << 24;
    rest.remove_prefix(4);
    if (signatureLength > rest.size() || rest.size() - signatureLength < parts.originalLength)
        return std::nullopt;
    parts.signature = std::string(rest.substr(0, signatureLength));
    rest.remove_prefix(signatureLength);
    parts.sealed = std::string(rest.substr(0, parts.originalLength));
    rest.remove_prefix(parts.originalLength);

    if (rest.substr(0, delimiter.size() + 2) != delimiter + "--") return std::nullopt;
    return parts;
}

std::string EncryptedContentType(std::string_view protocol) {
    return "multipart/encrypted;protocol=\"" + std::string(protocol) + "\";boundary=\"" +
           std::string(kDefaultBoundary) + "\"";
}

std::string BuildEncryptedBody(const EncryptedBody& parts) {
    const std::string delimiter = "--" + std::string(kDefaultBoundary);
    std::string body;
    body.reserve(parts.sealed.size() + parts.signature.size() + 256);
    body += delimiter + "\r\n";
    body += "\tContent-Type: " + parts.protocol + "\r\n";
    body += "\tOriginalContent: type=application/soap+xml;charset=UTF-8;Length=" +
            std::to_string(parts.originalLength) + "\r\n";
    body += delimiter + "\r\n";
    body += "\tContent-Type: application/octet-stream\r\n";
    const auto length = static_cast<std::uint32_t>(parts.signature.size());
    for (int shift = 0; shift < 32; shift += 8) body += static_cast<char>((length >> shift) & 0xFF);
    body += parts.signature;
    body += parts.sealed;
    body += delimiter + "--\r\n";
    return body;
}

}  // namespace qnsim
