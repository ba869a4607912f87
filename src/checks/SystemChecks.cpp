// Domain role, disk drives, logical-disk space and memory; and the record helpers every check uses.
#include <cstring>

#include "base/QncErrors.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "parsing/CSnWinrmNode.h"

using qn::checks::AppendBracketed;
using qn::checks::BytesToMiB;
using qn::checks::ParseInt64;
using qn::checks::ResultWord;
using qn::engine::TraceText;

void CQnWSMan::UseStylesheet(const char* fileName) {
    if (nodeParser) {
        nodeParser->SetStylesheet(fileName);
    }
}

int CQnWSMan::TransformItem(const char* itemXml, CQncString& error) {
    return TransformItem(EnumeratedItem(itemXml != nullptr ? itemXml : ""), error);
}

int CQnWSMan::TransformItem(const EnumeratedItem& item, CQncString& error) {
    // Without a parser (its creation failed at initialisation) every record is unreadable.
    const int code = nodeParser ? nodeParser->Transform(item) : kQncErrorXmlDocumentInit;
    if (code != 0) GetErrorDescription(code, error);
    return code;
}

int CQnWSMan::ReadMiB(const char* propertyName, std::uint32_t& megabytes, CQncString& error) {
    CQncString text;
    if (GetProperty(text, propertyName, error, 0).IsEmpty()) {
        return -1;
    }
    megabytes = BytesToMiB(ParseInt64(text.GetText()));
    Trace(kTraceToFile, "Value for [%s]: '%s' ([%ld]).\n", propertyName, text.GetText(),
          static_cast<long>(static_cast<std::int32_t>(megabytes)));
    return 0;
}

int CQnWSMan::WinRMGetDomain(CQncString& domain, CQncString& error, std::uint32_t& isDomainMember) {
    error = "";
    domain = "";
    Trace(kTraceToFile, "%s called...\n", "CQnWSMan::WinRMGetDomain");
    isDomainMember = 0;

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_ComputerSystem", items, error) == 0 && !items.empty()) {
        UseStylesheet(kInstanceStylesheet);
        TransformItem(items.front(), error);
        CQncString role;
        if (!GetProperty(role, "DomainRole", error, 0).IsEmpty()) {
            role.Trim();
            // Member workstation, member server, backup and primary domain controller.
            static const char* const kMemberRoles[] = {"1", "3", "4", "5"};
            isDomainMember = 0;
            for (const char* memberRole : kMemberRoles) {
                if (std::strcmp(role.GetText(), memberRole) == 0) {
                    isDomainMember = 1;
                    break;
                }
            }
            if (!GetProperty(domain, "Domain", error, 0).IsEmpty()) {
                status = 0;
            }
        }
    }
    Trace(kTraceToFile, "WinRMGetDomain, result:[%s], error:[%s], domain:[%s].\n", ResultWord(status),
          error.GetText(), domain.GetText());
    return status;
}

int CQnWSMan::WinRMGetDisksState(std::uint32_t& allDisksOk, CQncString& diskList, CQncString& badDisk,
                                 CQncString& badDiskStatus, CQncString& error) {
    error = "";
    diskList = "";
    badDisk = "";
    badDiskStatus = "";
    Trace(kTraceToFile, "WinRMGetDisksState called...\n");
    allDisksOk = 0;

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_DiskDrive", items, error) == 0) {
        // A computer that reports no disk at all is healthy.
        allDisksOk = 1;
        status = 0;
        UseStylesheet(kInstanceStylesheet);
        CQncString caption;
        CQncString diskStatus;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(caption, "Caption", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            Trace(kTraceToFile, "Found Disk: [%s]...\n", caption.GetText());
            if (GetProperty(diskStatus, "Status", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            Trace(kTraceToFile, "Found Disk Status: [%s]...\n", diskStatus.GetText());
            if (QncStricmp(diskStatus.GetText(), "OK") == 0) {
                AppendBracketed(diskList, caption.GetText());
                continue;
            }
            // Only the first unhealthy disk is reported; the ones after it are not examined.
            badDisk.Format("[%s]", caption.GetText());
            badDiskStatus.Format("[%s]", diskStatus.GetText());
            allDisksOk = 0;
            break;
        }
    }
    Trace(kTraceToFile, "WinRMGetDisksState %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetLogicalDiskSpace(const char* driveName, std::uint32_t& driveFound,
                                       std::uint32_t& freeMB, std::uint32_t& usedMB, std::uint32_t& sizeMB,
                                       CQncString& error) {
    error = "";
    driveFound = freeMB = usedMB = sizeMB = 0;
    Trace(kTraceToFile, "Calling WinRMGetLogicalDiskSpace (%s)...\n", TraceText(driveName));

    // "C" asks for "C:"; the comparison itself is byte for byte.
    CQncString wanted(driveName);
    wanted.Trim();
    if (wanted.Length() == 1) {
        wanted.Append(":");
    }

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_LogicalDisk", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            GetProperty(name, "Name", error, 0);
            if (std::strcmp(name.GetText(), wanted.GetText()) != 0) {
                continue;
            }
            driveFound = 1;
            if (ReadMiB("FreeSpace", freeMB, error) == 0 && ReadMiB("Size", sizeMB, error) == 0) {
                // From the truncated values, so the three numbers always add up.
                usedMB = sizeMB - freeMB;
                status = 0;
            }
            break;
        }
        if (driveFound == 0) {
            error = "";
        }
    }
    Trace(kTraceToFile, "WinRMGetLogicalDiskSpace %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetMemory(std::uint32_t& availableMB, std::uint32_t& committedMB,
                             std::uint32_t& pagesPerSec, CQncString& error) {
    error = "";
    availableMB = committedMB = pagesPerSec = 0;

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_PerfFormattedData_PerfOS_Memory", items, error) == 0 && !items.empty()) {
        UseStylesheet(kInstanceStylesheet);
        TransformItem(items.front(), error);
        if (ReadMiB("AvailableBytes", availableMB, error) == 0 &&
            ReadMiB("CommittedBytes", committedMB, error) == 0) {
            CQncString pages;
            if (!GetProperty(pages, "PagesPerSec", error, 0).IsEmpty()) {
                pagesPerSec = static_cast<std::uint32_t>(ParseInt64(pages.GetText()));
                Trace(kTraceToFile, "Value for [%s]: '%s' ([%ld]).\n", "PagesPerSec", pages.GetText(),
                      static_cast<long>(static_cast<std::int32_t>(pagesPerSec)));
                status = 0;
            }
        }
    }
    Trace(kTraceToFile, "WinRMGetMemory %s.\n", ResultWord(status));
    return status;
}
