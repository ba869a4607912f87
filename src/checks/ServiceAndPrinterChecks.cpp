// Windows services (list, state, restart) and printers (list, state).
#include "base/QncList.h"
#include "base/QncText.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "parsing/CSnWinrmNode.h"
#include "platform/Clock.h"

using qn::checks::ParseInt32;
using qn::checks::ResultWord;
using qn::engine::TraceText;

namespace {

// How long a restart waits for the service to report itself stopped before it starts it again.
constexpr std::uint32_t kStopWaitMs = 20000;
constexpr std::uint32_t kStopPollMs = 1000;

}  // namespace

int CQnWSMan::WinRMGetServiceList(CQncString& list, CQncString& error) {
    error = "";
    list = "";
    Trace(kTraceToFile, "Calling WinRMGetServiceList...\n");

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Service", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncListString services;
        qn::checks::UseCheckSeparators(services);
        qn::checks::UniqueNames uniqueServices(services);
        CQncString name;
        CQncString displayName;
        CQncString entry;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            GetProperty(name, "Name", error, 0);
            if (!GetProperty(displayName, "DisplayName", error, 0).IsEmpty()) {
                entry = name;
                uniqueServices.Add(entry.Append(";;").Append(displayName.GetText()).GetText());
            }
        }
        qn::checks::SortAndJoin(services, list);
        status = 0;
    }
    Trace(kTraceToFile, "WinRMGetServiceList %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetServiceState(const char* serviceName, CQncString& name, CQncString& displayName,
                                   std::uint32_t& installed, CQncString& state, CQncString& startMode,
                                   CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetServiceState";
    error = "";
    Trace(kTraceToFile, "%s [%s] called...\n", kMethod, TraceText(serviceName));
    installed = 0;
    name = displayName = state = startMode = "";

    int status = 0;
    bool found = false;
    // The wanted text may be the service's name (first pass) or its display name (second pass).
    for (int pass = 0; pass < 2 && status == 0 && !found; ++pass) {
        ItemList items;
        if (Enumerate("Win32_Service", items, error) != 0) {
            status = -1;
            break;
        }
        UseStylesheet(kInstanceStylesheet);
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            name.Trim();
            if (GetProperty(displayName, "DisplayName", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            displayName.Trim();
            if (QncStricmp(pass == 0 ? name.GetText() : displayName.GetText(), serviceName) == 0) {
                found = true;
                break;
            }
        }
    }

    if (status == 0 && found) {
        installed = 1;
        if (GetProperty(state, "State", error, 0).IsEmpty()) {
            status = -1;
        } else {
            state.Trim();
            if (GetProperty(startMode, "StartMode", error, 0).IsEmpty()) {
                status = -1;
            }
            startMode.Trim();
        }
    } else if (status == 0) {
        // A service that is not there is an answer, not a failure.
        installed = 0;
        name = displayName = state = startMode = "";
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMRestartService(const char* serviceName, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMRestartService";
    Trace(kTraceToFile, "Calling %s (%s).\n", kMethod, TraceText(serviceName));

    const int status = RestartService(serviceName, error);
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::RestartService(const char* serviceName, CQncString& error) {
    CQncString name;
    CQncString displayName;
    CQncString state;
    CQncString startMode;
    std::uint32_t installed = 0;
    if (WinRMGetServiceState(serviceName, name, displayName, installed, state, startMode, error) != 0) {
        Trace(kTraceToFile, "WinRMGetServiceState failed. Unable to retrieve current process state (%s).\n",
              TraceText(serviceName));
        return -1;
    }
    if (installed == 0) {
        error = "Service not installed.";
        return -1;
    }

    CQncString instance("Win32_Service?Name=");
    instance.Append(name.GetText());
    CQncString uri;
    qn::checks::BuildClassUri(wmiNamespace.GetText(), instance.GetText(), uri);

    CQncString input;
    CQncString response;
    qn::checks::BuildMethodInput("StopService", "root/cimv2/Win32_Service", input);
    Trace(kTraceToFile, "Calling Invoke( [%s], [%s], [%s] ... )\n", uri.GetText(), "StopService",
          input.GetText());
    if (Invoke(uri.GetText(), "StopService", input.GetText(), response, error) != 0) {
        return -1;
    }
    Trace(kTraceToFile, "Invoke raw response: [%s].\n", response.GetText());

    // Kept on purpose: a plain comparison against t0 + 20000, as the hosts have always timed it; the wait
    // never fails the restart.
    const std::uint32_t t0 = qn::platform::GetTickCount();
    while (qn::platform::GetTickCount() < t0 + kStopWaitMs) {
        CQncString pollError;
        if (WinRMGetServiceState(serviceName, name, displayName, installed, state, startMode, pollError) !=
            0) {
            Trace(kTraceToFile,
                  "WinRMGetServiceState failed. Don't wait for service to be finally stopped..\n");
            break;
        }
        Trace(kTraceToFile, "WinRMGetServiceState returned state = [%s]..\n", state.GetText());
        if (QncStricmp(state.GetText(), "stopped") == 0) {
            break;
        }
        qn::platform::Sleep(kStopPollMs);
    }

    qn::checks::BuildMethodInput("StartService", "root/cimv2/Win32_Service", input);
    Trace(kTraceToFile, "Calling Invoke( [%s], [%s], [%s] ... )\n", uri.GetText(), "StartService",
          input.GetText());
    if (Invoke(uri.GetText(), "StartService", input.GetText(), response, error) != 0) {
        return -1;
    }
    Trace(kTraceToFile, "Invoke raw response: [%s].\n", response.GetText());
    return 0;
}

int CQnWSMan::WinRMGetPrinterList(CQncString& list, CQncString& error) {
    error = "";
    list = "";
    Trace(kTraceToFile, "Calling WinRMGetPrinterList...\n");

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Printer", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncListString printers;
        qn::checks::UseCheckSeparators(printers);
        qn::checks::UniqueNames uniquePrinters(printers);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (!GetProperty(name, "Name", error, 0).IsEmpty()) {
                // The same two-field form as the service entries, with an empty second field.
                uniquePrinters.Add(name.Append(";;").GetText());
            }
        }
        qn::checks::SortAndJoin(printers, list);
        status = 0;
    }
    Trace(kTraceToFile, "WinRMGetPrinterList %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::ReadPrinterValue(const char* propertyName, bool required, std::uint32_t& value,
                               CQncString& error) {
    CQncString text;
    if (GetProperty(text, propertyName, error, 0).IsEmpty() && required) {
        return -1;
    }
    const std::int32_t number = ParseInt32(text.GetText());
    value = static_cast<std::uint32_t>(number);
    Trace(kTraceToFile, "Value for [%s]: '%s' ([%ld]).\n", propertyName, text.GetText(),
          static_cast<long>(number));
    return 0;
}

int CQnWSMan::WinRMGetPrinterState(const char* printerName, std::uint32_t& found, std::uint32_t& availability,
                                   std::uint32_t& detectedErrorState, std::uint32_t& printerStatus,
                                   CQncString& error) {
    error = "";
    Trace(kTraceToFile, "Calling WinRMGetPrinterState (%s)...\n", TraceText(printerName));
    found = availability = detectedErrorState = printerStatus = 0;

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Printer", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            GetProperty(name, "Name", error, 0);
            if (QncStricmp(name.GetText(), printerName) != 0) {
                continue;
            }
            // A printer without an Availability value still reports the other two.
            ReadPrinterValue("Availability", false, availability, error);
            if (ReadPrinterValue("DetectedErrorState", true, detectedErrorState, error) == 0 &&
                ReadPrinterValue("PrinterStatus", true, printerStatus, error) == 0) {
                found = 1;
                status = 0;
            }
            break;
        }
    }
    Trace(kTraceToFile, "WinRMGetPrinterState %s.\n", ResultWord(status));
    return status;
}
