// Opening and closing the WinRM session to one computer.
#include <cstring>

#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"

using qn::engine::ResultWord;
using qn::engine::TraceText;
using qn::platform::Failed;

namespace {

// Only the standard namespace, written exactly one of these two ways, is validated after connecting.
bool IsValidatedNamespace(const CQncString& wmiNamespace) {
    return std::strcmp(wmiNamespace.GetText(), "root\\cimv2") == 0 ||
           std::strcmp(wmiNamespace.GetText(), "root/cimv2") == 0;
}

}  // namespace

std::uint32_t CQnWSMan::OpenSession(const char* computer, std::uint16_t port, CQncString& errorText) {
    Trace(kTraceToFile, "OpenSession %s:%u.\n", TraceText(computer), static_cast<unsigned>(port));
    errorText = "";
    std::uint32_t result = kFailure;

    if (initialized == 0 || !wsman) {
        errorText = "Initialization failure.";
        Trace(kTraceToFile,
              "OpenSession failed, the API was not initialized. Please call Initialize first.\n");
        Trace(kTraceToFile, "OpenSession %s.\n", ResultWord(false));
        return result;
    }

    const bool https = useSsl == 1;
    Trace(kTraceToFile, "Opening Session...");
    Trace(kTraceToFile, "WinRM Use SSL:  [%s]", https ? "YES" : "NO");
    Trace(kTraceToFile, "WinRM Use Port: [%u]", static_cast<unsigned>(port));

    // The port is used as given, 0 included: the host decides.
    CQncString url;
    url.Format("%s://%s:%u/wsman", https ? "https" : "http", TraceText(computer),
               static_cast<unsigned>(port));
    Trace(kTraceToFile, "WinRM UserName: [%s]", userName.IsEmpty() ? "<EMPTY>" : userName.GetText());
    Trace(kTraceToFile, "WinRM URL:      [%s]", url.GetText());

    std::unique_ptr<qn::platform::WsmanConnectionOptions> options;
    const qn::platform::HResult optionsResult = wsman->CreateConnectionOptions(options);
    if (Failed(optionsResult) || !options) {
        errorText.Format("Failed to create connection options, error: 0x%08X",
                         static_cast<unsigned>(optionsResult));
        Trace(kTraceToFile, "%s\n", errorText.GetText());
        Trace(kTraceToFile, "OpenSession %s.\n", ResultWord(false));
        return result;
    }

    // Without a user name the session runs under the caller's own credentials.
    if (!userName.IsEmpty()) {
        options->SetUserName(userName.GetText());
        options->SetPassword(password.GetText());
    }

    std::unique_ptr<qn::platform::WsmanSession> newSession;
    const qn::platform::HResult sessionResult = wsman->CreateSession(
        url.GetText(), qn::platform::kWsmanFlagCredUsernamePassword, options.get(), newSession);
    if (Failed(sessionResult)) {
        errorText.Format("Failed to create WSMan Session, error: 0x%08X",
                         static_cast<unsigned>(sessionResult));
        Trace(kTraceToFile, "%s\n", errorText.GetText());
    } else if (!newSession) {
        errorText = "Failed to create IWSManSession session";
        Trace(kTraceToFile, "%s\n", errorText.GetText());
    } else {
        // Connecting again has never released the previous session: it stays held until the object goes.
        if (session) {
            replacedSessions.push_back(std::move(session));
        }
        session = std::move(newSession);
        sessionOpen = 1;
        if (IsValidatedNamespace(wmiNamespace)) {
            result = static_cast<std::uint32_t>(WinRMValidateAccess(errorText));
            if (result != 0) {
                // A wrong password shows at connect time, not at the first check.
                CloseSession();
            }
        } else {
            result = 0;
        }
    }

    Trace(kTraceToFile, "OpenSession %s.\n", ResultWord(result == 0));
    return result;
}

void CQnWSMan::CloseSession() {
    Trace(kTraceToFile, "Closing session...\n");
    session.reset();
    sessionOpen = 0;
    Trace(kTraceToFile, "Session closed.\n");
}
