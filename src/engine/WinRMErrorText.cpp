// The texts hosts show for the WinRM failures that users run into most.
#include <array>

#include "engine/CQnWSMan.h"

namespace {

struct KnownError {
    std::uint32_t code;
    const char* suffix;
};

// The last four are reported only by this module's own WS-Management client (its bounds on one enumeration
// and its TLS settings), never by Windows' client, so their texts name the setting to change.
constexpr std::array<KnownError, 13> kKnownErrors{{
    {0x80070005, ": Access is denied"},
    {0x80070523, ": The name provided is not a properly formed account name."},
    {0x80338000, ": No items can be found at the selected URI."},
    {0x80338012, ": The WS-Management service does not support the action specified in the request."},
    {0x8033801A, ": The service cannot find the resource identified by the resource URI and selectors."},
    {0x8033803B, ": The resource URI is missing or it has an incorrect format."},
    {0x803380B2, ": Credentials are missing"},
    {0x80338113, ": The HTTP server does not support the WS-Management protocol selected (HTTP/HTTPS)."},
    {0x803381B9, ": The WinRM client cannot process the request because the server name cannot be resolved."},
    {0x8033801C,
     ": The enumeration ran longer than its time bound; raise EnumerationTimeoutMs (Server\\WinRM) to allow "
     "more."},
    {0x80338004,
     ": The enumeration returned more item text than its size bound; raise EnumerationMaxBytes "
     "(Server\\WinRM) "
     "to allow more."},
    {0x803380EF,
     ": The server sent too many empty batches in a row; raise EnumerationMaxEmptyBatches (Server\\WinRM) to "
     "allow more."},
    {0x80338192,
     ": The TrustedCAFile (Server\\WinRM) does not exist, cannot be read or holds no certificate; correct "
     "the "
     "path or clear the value."},
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
