// Shares, removable (USB) drives, terminal-server sessions, network interfaces and their traffic.
#include "base/QncText.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "parsing/CSnWinrmNode.h"

using qn::checks::ParseInt32;
using qn::checks::ResultWord;

namespace {

constexpr const char* kInterfaceClass = "Win32_PerfFormattedData_Tcpip_NetworkInterface";

}  // namespace

int CQnWSMan::WinRMGetShareState(const char* shareName, std::uint32_t& shareFound, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetShareState";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    shareFound = 0;
    error = "";

    // A missing share is reported as a failed call, not as a completed one.
    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Share", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty()) {
                break;
            }
            if (QncStricmp(name.GetText(), shareName) == 0) {
                shareFound = 1;
                status = 0;
                break;
            }
        }
        if (shareFound == 0) {
            error = "";
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetRemovableDrives(CQncString& driveList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetRemovableDrives";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    error = "";
    driveList = "";

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_DiskDrive", items, error) == 0) {
        status = 0;
        UseStylesheet(kInstanceStylesheet);
        CQncString interfaceType;
        CQncString model;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(interfaceType, "InterfaceType", error, 0).IsEmpty() ||
                GetProperty(model, "Model", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            if (QncStricmp(interfaceType.GetText(), "USB") != 0) {
                continue;
            }
            if (!driveList.IsEmpty()) {
                driveList.Append(";");
            }
            driveList.Append(model.GetText());
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetTerminalServerSessions(std::uint32_t& activeSessions, std::uint32_t& inactiveSessions,
                                             std::uint32_t& thirdCount, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetTerminalServerSessions";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    activeSessions = inactiveSessions = thirdCount = 0;
    error = "";

    // Older systems name the class after TermService, newer ones after LocalSessionManager. Both are asked
    // into one list, so the first class's items come first; a class the computer lacks costs nothing.
    static const char* const kSessionClasses[] = {"Win32_PerfFormattedData_TermService_TerminalServices",
                                                  "Win32_PerfRawData_LocalSessionManager_TerminalServices",
                                                  nullptr};
    ItemList items;
    for (const char* const* sessionClass = kSessionClasses; *sessionClass != nullptr; ++sessionClass) {
        Enumerate(*sessionClass, items, error);
    }

    int status = -1;
    if (!items.empty()) {
        UseStylesheet(kInstanceStylesheet);
        TransformItem(items.front(), error);
        CQncString active;
        CQncString inactive;
        CQncString third;
        if (!GetProperty(active, "ActiveSessions", error, 0).IsEmpty()) {
            activeSessions = static_cast<std::uint32_t>(ParseInt32(active.GetText()));
            error = "";
            if (!GetProperty(inactive, "InactiveSessions", error, 0).IsEmpty()) {
                inactiveSessions = static_cast<std::uint32_t>(ParseInt32(inactive.GetText()));
                error = "";
                // Kept on purpose: the third count repeats the inactive sessions; hosts rely on it.
                if (!GetProperty(third, "InactiveSessions", error, 0).IsEmpty()) {
                    thirdCount = static_cast<std::uint32_t>(ParseInt32(third.GetText()));
                    status = 0;
                }
            }
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetNICList(CQncString& nicList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetNICList";
    nicList = "";
    error = "";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    const int status = CollectNames(kInterfaceClass, nullptr, nicList, error);
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetNICTrafficValues(const char* nicName, std::uint32_t& nicFound,
                                       std::uint32_t& bandwidthMbit, std::uint32_t& bytesPerSec,
                                       std::uint32_t& kilobytesPerSec, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetNICTrafficValues";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    nicFound = bandwidthMbit = bytesPerSec = kilobytesPerSec = 0;
    error = "";

    int status = -1;
    ItemList items;
    if (Enumerate(kInterfaceClass, items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty()) {
                break;
            }
            if (QncStricmp(name.GetText(), nicName) != 0) {
                continue;
            }
            nicFound = 1;
            error = "";
            CQncString bandwidth;
            if (GetProperty(bandwidth, "CurrentBandwidth", error, 0).IsEmpty()) {
                break;
            }
            Trace(kTraceToFile, "Value: [%s] = [%s].\n", "CurrentBandwidth", bandwidth.GetText());
            // Parsed wide so that links faster than 2 Gbit/s are not capped.
            bandwidthMbit = static_cast<std::uint32_t>(qn::checks::ParseInt64(bandwidth.GetText()) / 1000000);
            CQncString traffic;
            if (GetProperty(traffic, "BytesTotalPersec", error, 0).IsEmpty()) {
                break;
            }
            Trace(kTraceToFile, "Value: [%s] = [%s].\n", "BytesTotalPersec", traffic.GetText());
            const std::int32_t perSec = ParseInt32(traffic.GetText());
            bytesPerSec = static_cast<std::uint32_t>(perSec);
            // Rounded to the nearest kibibyte.
            kilobytesPerSec = static_cast<std::uint32_t>((static_cast<std::int64_t>(perSec) + 512) / 1024);
            status = 0;
            break;
        }
        if (nicFound == 0) {
            error = "";
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}
