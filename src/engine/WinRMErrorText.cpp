// The texts hosts show for the WinRM failures that users run into most.
#include <array>

#include "engine/CQnWSMan.h"

namespace {

struct KnownError {
    std::uint32_t code;
    const char* suffix;
};

constexpr std::array<KnownError, 9> kKnownErrors{{
    {0x80070005, ": Access is denied"},
    {0x80070523, ": The name provided is not a properly formed account name."},
    {0x80338000, ": No items can be found at the selected URI."},
    {0x80338012, ": The WS-Management service does not support the action specified in the request."},
    {0x8033801A, ": The service cannot find the resource identified by the resource URI and selectors."},
    {0x8033803B, ": The resource URI is missing or it has an incorrect format."},
    {0x803380B2, ": Credentials are missing"},
    {0x80338113, ": The HTTP server does not support the WS-Management protocol selected (HTTP/HTTPS)."},
    {0x803381B9, ": The WinRM client cannot process the request because the server name cannot be resolved."},
}};

}  // namespace

void CQnWSMan::FormatWinRMError(std::uint32_t code, CQncString& text) {
    text.Format("WMI/WinRM Error 0x%08lX", static_cast<unsigned long>(code));
    for (const KnownError& known : kKnownErrors) {
        if (known.code == code) {
            text.Append(known.suffix);
            break;
        }
    }
}
