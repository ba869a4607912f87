// The one action that restarts the remote computer: Win32_OperatingSystem.Reboot through Invoke.
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"

int CQnWSMan::WinRMRebootComputer(CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMRebootComputer";
    error = "";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);

    // The class has a single instance, so no selector; the input element's namespace is fixed.
    CQncString uri;
    qn::checks::BuildClassUri(wmiNamespace.GetText(), "Win32_OperatingSystem", uri);
    CQncString input;
    qn::checks::BuildMethodInput("Reboot", "root/cimv2/Win32_OperatingSystem", input);

    int status = -1;
    CQncString response;
    Trace(kTraceToFile, "Calling Invoke( [%s], [%s], [%s] ... )\n", uri.GetText(), "Reboot", input.GetText());
    if (Invoke(uri.GetText(), "Reboot", input.GetText(), response, error) == 0) {
        // The method's own return value is not examined: an accepted call counts as completed.
        Trace(kTraceToFile, "Invoke raw response: [%s].\n", response.GetText());
        status = 0;
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, qn::checks::ResultWord(status));
    return status;
}
