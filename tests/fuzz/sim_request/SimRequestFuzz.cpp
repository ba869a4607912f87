// Fuzz entry for what the simulator reads from the network: the multipart/encrypted framing and the SOAP
// envelope, and the service's handling of whatever parses.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "FakeComputer.h"
#include "server/EncryptedBody.h"
#include "server/WsmanRequest.h"
#include "server/WsmanService.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    static const std::string contentTypes[] = {
        "multipart/encrypted;protocol=\"application/HTTP-SPNEGO-session-encrypted\";boundary=\"Encrypted "
        "Boundary\"",
        "multipart/encrypted;protocol=\"application/HTTP-Kerberos-session-encrypted\";boundary=\"Encrypted "
        "Boundary\"",
    };
    for (const auto& contentType : contentTypes) {
        if (auto parts = qnsim::ParseEncryptedBody(contentType, input)) {
            // A parsed frame rebuilds into a frame that parses to the same parts.
            const auto again = qnsim::ParseEncryptedBody(contentType, qnsim::BuildEncryptedBody(*parts));
            if (!again || again->sealed != parts->sealed || again->signature != parts->signature)
                __builtin_trap();
        }
    }
    static qnsim::WsmanService service(qnsim::test::FakeComputer(3), qnsim::ServiceSettings{});
    const qnsim::ParsedRequest parsed = qnsim::ParseWsmanRequest(input);
    if (parsed.request) {
        const qnsim::ServiceReply reply =
            service.Handle(*parsed.request, std::chrono::steady_clock::time_point{});
        if (reply.status != 200 && reply.status != 500) __builtin_trap();
    }
    return 0;
}
