// Processes: the name list, whether one runs, and CPU, memory and handle usage from the raw counters.
#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <unordered_set>

#include "base/QncList.h"
#include "base/QncText.h"
#include "checks/CWmiProcessList.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "parsing/CSnWinrmNode.h"
#include "platform/Clock.h"

using qn::checks::ParseInt32;
using qn::checks::ParseInt64;
using qn::checks::ResultWord;
using qn::engine::TraceText;

namespace {

constexpr const char* kRawProcessClass = "Win32_PerfRawData_PerfProc_Process";

struct MemoryCounter {
    const char* property;
    const char* displayName;
};

// Index 0 and every unknown index mean the private working set.
MemoryCounter MemoryCounterFor(std::uint32_t index) {
    static const MemoryCounter kCounters[] = {
        {"WorkingSetPrivate", "Private Working Set (default)"},
        {"PrivateBytes", "Commit Size"},
        {"WorkingSet", "Working Set"},
        {"WorkingSetPeak", "Peak Working Set"},
        {"PoolPagedBytes", "Paged Pool"},
        {"PoolNonpagedBytes", "Non-Paged Pool"},
    };
    return index < std::size(kCounters) ? kCounters[index] : kCounters[0];
}

std::string FoldAscii(const char* text) {
    std::string folded = text != nullptr ? text : "";
    for (char& c : folded) {
        c = QncToUpperAscii(c);
    }
    return folded;
}

// The part of a performance instance name before its "#n" suffix.
std::string BaseName(const char* instance) {
    const char* hash = std::strchr(instance, '#');
    return hash != nullptr ? std::string(instance, hash) : std::string(instance);
}

// Truncates toward zero; a percentage beyond the 32-bit range (a counter that ran backwards) saturates.
std::int32_t TruncatePercent(float percent) {
    if (std::isnan(percent)) {
        return 0;
    }
    if (percent >= 2147483520.0f) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (percent <= -2147483648.0f) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(percent);
}

// The exclude names as their base names, folded for a case-insensitive lookup.
std::unordered_set<std::string> ExcludedBaseNames(const char* excludeNames) {
    CQncListString parsed;
    parsed.Parse(excludeNames != nullptr ? excludeNames : "");
    std::unordered_set<std::string> names;
    for (CQncListNode* node = parsed.GetHead(); node != nullptr; node = node->next) {
        CQncString entry(static_cast<CQnsString*>(node->item)->text);
        entry.ReplaceAll(".exe", "");
        names.insert(FoldAscii(BaseName(entry.GetText()).c_str()));
    }
    return names;
}

}  // namespace

int CQnWSMan::WinRMGetProcessList(CQncString& list, CQncString& error) {
    error = "";
    list = "";
    Trace(kTraceToFile, "Calling WinRMGetProcessList...\n");

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Process", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncListString names;
        qn::checks::UseCheckSeparators(names);
        qn::checks::UniqueNames uniqueNames(names);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (!GetProperty(name, "Name", error, 0).IsEmpty()) {
                uniqueNames.Add(name.GetText());
            }
        }
        qn::checks::SortAndJoin(names, list);
        status = 0;
    }
    Trace(kTraceToFile, "WinRMGetProcessList %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetProcessState(const char* processName, std::uint32_t& running, CQncString& error) {
    error = "";
    running = 0;
    Trace(kTraceToFile, "Calling WinRMGetProcessState (%s)...\n", TraceText(processName));

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Process", items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        status = 0;
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            // The WMI process name carries ".exe"; the wanted name is taken as given.
            if (QncStricmp(name.GetText(), processName) == 0) {
                running = 1;
                break;
            }
        }
        if (status == 0) {
            if (running == 0) {
                error = "Process not found";
            }
            Trace(kTraceToFile, "Process [%s] is running: %s\n", TraceText(processName),
                  running != 0 ? "yes" : "no");
        }
    }
    Trace(kTraceToFile, "WinRMGetProcessState %s.\n", ResultWord(status));
    return status;
}

int CQnWSMan::GetProcessMemoryUsage(const EnumeratedItem& item, std::uint32_t memoryCounter,
                                    CWmiProcess& process, CQncString& error) {
    Trace(kTraceToFile, "%s.\n", "CQnWSMan::GetProcessMemoryUsage");
    const MemoryCounter counter = MemoryCounterFor(memoryCounter);
    TransformItem(item, error);
    int status = -1;
    CQncString text;
    if (!GetProperty(text, counter.property, error, 0).IsEmpty()) {
        const std::int64_t bytes = ParseInt64(text.GetText());
        Trace(kTraceToFile, "Value: [%ld].\n", static_cast<long>(bytes));
        const auto megabytes = static_cast<std::int32_t>(qn::checks::BytesToMiB(bytes));
        if (megabytes >= process.memoryMB) {
            process.memoryMB = megabytes;
        }
        status = 0;
    }
    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::GetProcessMemoryUsage", ResultWord(status));
    return status;
}

int CQnWSMan::GetProcessHandleUsage(const EnumeratedItem& item, CWmiProcess& process, CQncString& error) {
    Trace(kTraceToFile, "Calling: %s.\n", "CQnWSMan::GetProcessHandleUsage");
    TransformItem(item, error);
    int status = -1;
    CQncString text;
    if (!GetProperty(text, "HandleCount", error, 0).IsEmpty()) {
        const std::int32_t count = ParseInt32(text.GetText());
        Trace(kTraceToFile, "Value: [%ld].\n", static_cast<long>(count));
        if (count >= process.handles) {
            process.handles = count;
        }
        status = 0;
    }
    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::GetProcessHandleUsage", ResultWord(status));
    return status;
}

int CQnWSMan::GetProcessCpuUsage(const EnumeratedItem& item, std::int64_t& rawTime, std::int64_t& rawStamp,
                                 CQncString& error) {
    Trace(kTraceToFile, "Calling: %s.\n", "CQnWSMan::GetProcessCpuUsage");
    rawTime = 0;
    rawStamp = 0;
    TransformItem(item, error);
    CQncString time;
    GetProperty(time, "PercentProcessorTime", error, 0);
    rawTime = ParseInt64(time.GetText());
    Trace(kTraceToFile, "*lpN: [%s]\n", time.GetText());
    CQncString stamp;
    GetProperty(stamp, "TimeStamp_Sys100NS", error, 0);
    rawStamp = ParseInt64(stamp.GetText());
    Trace(kTraceToFile, "*lpD: [%s]\n", stamp.GetText());
    const int status = time.IsEmpty() || stamp.IsEmpty() ? -1 : 0;
    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::GetProcessCpuUsage", ResultWord(status));
    return status;
}

int CQnWSMan::SampleProcessCpu(const EnumeratedItem& item, CWmiProcess& process, bool isFirst,
                               CQncString& error) {
    error = "";
    std::int64_t rawTime = 0;
    std::int64_t rawStamp = 0;
    if (GetProcessCpuUsage(item, rawTime, rawStamp, error) != 0) {
        return -1;
    }
    if (isFirst) {
        process.cpu.SetFirstSample(rawTime, rawStamp);
    } else if (process.cpu.AddSecondSample(rawTime, rawStamp)) {
        process.cpuUsage = TruncatePercent(process.cpu.cpuPercent);
    }
    return 0;
}

int CQnWSMan::SampleProcessList(CWmiProcessList& processes, bool isFirst, CQncString& error) {
    error = "";
    ItemList items;
    if (Enumerate(kRawProcessClass, items, error) != 0) {
        return -1;
    }
    UseStylesheet(kInstanceStylesheet);
    CQncString id;
    for (const EnumeratedItem& item : items) {
        TransformItem(item, error);
        if (GetProperty(id, "IDProcess", error, 0).IsEmpty()) {
            return -1;
        }
        for (CWmiProcess* process : processes.FindById(id.GetText())) {
            if (SampleProcessCpu(item, *process, isFirst, error) != 0) {
                return -1;
            }
        }
    }
    return 0;
}

int CQnWSMan::WinRMGetProcessCpuMemHandles(const char* processName, const char* excludeNames,
                                           std::int32_t cpuThreshold, std::uint32_t sleepMs,
                                           std::int32_t durationMs, std::int32_t memoryThreshold,
                                           std::uint32_t memoryCounter, std::int32_t handlesThreshold,
                                           std::uint32_t& processId, CQncString& instanceName,
                                           std::uint32_t& cpuUsage, std::uint32_t& memoryMB,
                                           std::uint32_t& handles, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetProcessCpuMemHandles";
    Trace(kTraceToFile, "Calling %s (%s)...\n", kMethod, TraceText(processName));
    processId = cpuUsage = memoryMB = handles = 0xFFFFFFFFu;
    instanceName = "";
    error = "";

    const int status = MeasureProcesses(processName, excludeNames, cpuThreshold, sleepMs, durationMs,
                                        memoryThreshold, memoryCounter, handlesThreshold, processId,
                                        instanceName, cpuUsage, memoryMB, handles, error);
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::MeasureProcesses(const char* processName, const char* excludeNames, std::int32_t cpuThreshold,
                               std::uint32_t sleepMs, std::int32_t durationMs, std::int32_t memoryThreshold,
                               std::uint32_t memoryCounter, std::int32_t handlesThreshold,
                               std::uint32_t& processId, CQncString& instanceName, std::uint32_t& cpuUsage,
                               std::uint32_t& memoryMB, std::uint32_t& handles, CQncString& error) {
    CWmiProcessList processes(cpuThreshold, memoryThreshold, handlesThreshold);
    std::uint32_t compareKind = kCompareCpu;
    if (cpuThreshold >= 1) {
        compareKind = kCompareCpu;
    } else if (memoryThreshold >= 1) {
        compareKind = kCompareMemory;
    } else if (handlesThreshold >= 1) {
        compareKind = kCompareHandles;
    }
    const std::unordered_set<std::string> excluded = ExcludedBaseNames(excludeNames);

    std::uint32_t numCpus = 0;
    if (GetNumLogicalCpus(numCpus, error) != 0 || numCpus < 1) {
        return -1;
    }

    CQncString wanted(processName);
    wanted.ReplaceAll(".exe", "");
    wanted.Trim();

    ItemList items;
    if (Enumerate(kRawProcessClass, items, error) != 0) {
        return -1;
    }
    UseStylesheet(kInstanceStylesheet);
    CQncString name;
    CQncString id;
    for (const EnumeratedItem& item : items) {
        TransformItem(item, error);
        GetProperty(name, "Name", error, 0);
        if (name.IsEmpty() || GetProperty(id, "IDProcess", error, 0).IsEmpty()) {
            return -1;
        }
        const std::string base = BaseName(name.GetText());
        if (!wanted.IsEmpty() && QncStricmp(base.c_str(), wanted.GetText()) != 0) {
            continue;
        }
        if (excluded.count(FoldAscii(base.c_str())) != 0 || std::strcmp(id.GetText(), "0") == 0) {
            continue;
        }
        auto* process = new CWmiProcess(id.GetText(), name.GetText(), compareKind, numCpus);
        processes.Append(process);
        Trace(kTraceToFile, "Process [#%s] added, instance name:[%s]\n", id.GetText(), name.GetText());
        if (memoryThreshold >= 0 && GetProcessMemoryUsage(item, memoryCounter, *process, error) != 0) {
            return -1;
        }
        if (handlesThreshold >= 0 && GetProcessHandleUsage(item, *process, error) != 0) {
            return -1;
        }
    }
    if (processes.IsEmpty()) {
        return -1;
    }

    if (cpuThreshold >= 0) {
        // A negative duration counts by its size.
        const std::uint32_t duration = durationMs < 0 ? 0u - static_cast<std::uint32_t>(durationMs)
                                                      : static_cast<std::uint32_t>(durationMs);
        const std::uint32_t start = qn::platform::GetTickCount();
        while (qn::platform::TicksElapsed(start, qn::platform::GetTickCount()) < duration) {
            if (SampleProcessList(processes, true, error) != 0) {
                return -1;
            }
            qn::platform::Sleep(sleepMs);
            if (SampleProcessList(processes, false, error) != 0) {
                return -1;
            }
        }
    }

    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::WinRMGetProcessCpuMemHandles", ResultWord(0));
    // Kept on purpose: the record added last is reported, not the busiest one; hosts rely on it.
    const CWmiProcess* reported = processes.Last();
    processId = static_cast<std::uint32_t>(ParseInt32(reported->id.GetText()));
    instanceName = reported->instanceName;
    cpuUsage = static_cast<std::uint32_t>(reported->cpuUsage);
    memoryMB = static_cast<std::uint32_t>(reported->memoryMB);
    handles = static_cast<std::uint32_t>(reported->handles);
    return 0;
}
