#include "TestWinrmEndpoint.h"

#include <openssl/evp.h>

#include <cstdint>
#include <memory>

#include "GssTestAcceptor.h"

namespace wsman::test {
namespace {

std::string Base64(const std::string& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int n =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
    text.resize(static_cast<std::size_t>(n));
    return text;
}

std::string Unbase64(const std::string& text) {
    std::string bytes(text.size(), '\0');
    const int n =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    bytes.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
    std::size_t padding = 0;
    for (auto it = text.rbegin(); it != text.rend() && *it == '='; ++it) {
        ++padding;
    }
    bytes.resize(bytes.size() - padding);
    return bytes;
}

// Reads "Length=" and the LE32 header length, as Windows-facing parsers do.
bool ReadEncrypted(const std::string& body, std::string& token, std::size_t& length,
                   std::size_t& headerSize) {
    const std::size_t lengthAt = body.find("Length=");
    const std::string marker = "application/octet-stream\r\n";
    const std::size_t streamAt = body.find(marker);
    if (lengthAt == std::string::npos || streamAt == std::string::npos) {
        return false;
    }
    length = std::stoul(body.substr(lengthAt + 7));
    const std::size_t at = streamAt + marker.size();
    if (body.size() < at + 4) {
        return false;
    }
    std::uint32_t headerLength = 0;
    for (int i = 3; i >= 0; --i) {
        headerLength = (headerLength << 8) | static_cast<unsigned char>(body[at + i]);
    }
    if (body.size() < at + 4 + headerLength + length) {
        return false;
    }
    token = body.substr(at + 4, headerLength + length);
    headerSize = headerLength;
    return true;
}

// The mechanism a client opened with: raw NTLMSSP, or the OID of a GSS initial-context token.
std::string FirstTokenMechanism(const std::string& token) {
    if (token.rfind(std::string("NTLMSSP\0", 8), 0) == 0) {
        return "NTLM";
    }
    if (token.size() < 2 || static_cast<unsigned char>(token[0]) != 0x60) {
        return "?";
    }
    const auto lengthByte = static_cast<unsigned char>(token[1]);
    const std::size_t oidAt = 2 + (lengthByte < 0x80 ? 0 : lengthByte & 0x7F);
    if (token.size() < oidAt + 2 || token[oidAt] != 0x06) {
        return "?";
    }
    const std::string oid = token.substr(oidAt + 2, static_cast<unsigned char>(token[oidAt + 1]));
    if (oid == "\x2b\x06\x01\x05\x05\x02") {
        return "SPNEGO";
    }
    return oid == "\x2a\x86\x48\x86\xf7\x12\x01\x02\x02" ? "Kerberos" : "?";
}

}  // namespace

std::string FrameEncrypted(const std::string& header, const std::string& sealed, std::size_t originalLength) {
    const auto size = static_cast<std::uint32_t>(header.size());
    std::string prefix = {static_cast<char>(size & 0xFF), static_cast<char>((size >> 8) & 0xFF),
                          static_cast<char>((size >> 16) & 0xFF), static_cast<char>(size >> 24)};
    return "--Encrypted Boundary\r\n\tContent-Type: application/HTTP-SPNEGO-session-encrypted\r\n"
           "\tOriginalContent: type=application/soap+xml;charset=UTF-8;Length=" +
           std::to_string(originalLength) +
           "\r\n--Encrypted Boundary\r\n\tContent-Type: application/octet-stream\r\n" + prefix + header +
           sealed + "--Encrypted Boundary--\r\n";
}

Handler MakeWinrmHandler(gss_cred_id_t acceptorCredential, EndpointLog& log, EndpointOptions options) {
    return [acceptorCredential, &log, options](const HttpRequest& request, ConnectionState& state) {
        auto acceptor = std::static_pointer_cast<GssTestAcceptor>(state.data);
        const std::string authorization = request.Header("authorization");
        HttpReply reply;
        if (authorization.rfind("Negotiate ", 0) == 0) {
            const std::string input = Unbase64(authorization.substr(10));
            if (!acceptor || acceptor->IsComplete()) {
                acceptor = std::make_shared<GssTestAcceptor>(acceptorCredential, options.channelBinding);
                state.data = acceptor;
                std::lock_guard lock(log.mutex);
                log.firstTokens.push_back(FirstTokenMechanism(input));
            }
            std::string output;
            const OM_uint32 major = acceptor->Step(input, output);
            if (GSS_ERROR(major)) {
                state.data.reset();
                return HttpReply{401, {"WWW-Authenticate: Negotiate"}, {}, false};
            }
            reply.status = acceptor->IsComplete() ? 200 : 401;
            if (!output.empty()) {
                reply.headers.push_back("WWW-Authenticate: Negotiate " + Base64(output));
            }
            if (acceptor->IsComplete()) {
                std::lock_guard lock(log.mutex);
                log.peers.push_back(acceptor->PeerName());
            }
            return reply;
        }
        if (!acceptor || !acceptor->IsComplete()) {
            return HttpReply{
                401, {"WWW-Authenticate: Negotiate", "WWW-Authenticate: Basic realm=\"WSMAN\""}, {}, false};
        }
        const std::string answerFor = "<s:Envelope><s:Body>";
        if (options.overTls) {
            {
                std::lock_guard lock(log.mutex);
                log.received.push_back(request.body);
            }
            return HttpReply{options.replyStatus,
                             {"Content-Type: application/soap+xml;charset=UTF-8"},
                             answerFor + request.body + "</s:Body></s:Envelope>",
                             options.closeAfterReply};
        }
        std::string token;
        std::size_t length = 0;
        std::size_t headerLength = 0;
        std::string plaintext;
        if (request.Header("content-type").find("multipart/encrypted") == std::string::npos ||
            !ReadEncrypted(request.body, token, length, headerLength) ||
            !acceptor->Unwrap(token, plaintext) || plaintext.size() != length) {
            std::lock_guard lock(log.mutex);
            ++log.clearBodiesRefused;
            return HttpReply{400, {}, {}, false};
        }
        {
            std::lock_guard lock(log.mutex);
            log.received.push_back(plaintext);
            log.headerLengths.push_back(headerLength);
        }
        const std::string answer = answerFor + plaintext + "</s:Body></s:Envelope>";
        reply.status = options.replyStatus;
        reply.close = options.closeAfterReply;
        if (options.replyStyle == ReplyStyle::Clear) {
            reply.headers.push_back("Content-Type: application/soap+xml;charset=UTF-8");
            reply.body = answer;
            return reply;
        }
        std::string header;
        std::string sealed;
        acceptor->Wrap(answer, header, sealed);
        if (options.replyStyle == ReplyStyle::Tampered) {
            sealed[sealed.size() / 2] ^= 0x01;
        }
        reply.headers.push_back(
            "Content-Type: multipart/encrypted;protocol=\"application/HTTP-SPNEGO-session-encrypted\";"
            "boundary=\"Encrypted Boundary\"");
        reply.body = FrameEncrypted(header, sealed, sealed.size());
        return reply;
    };
}

}  // namespace wsman::test
