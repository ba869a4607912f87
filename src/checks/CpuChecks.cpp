// Processor count and processor usage, one reading or averaged over a sampling period.
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

constexpr const char* kProcessorCounterClass = "Win32_PerfFormattedData_PerfOS_Processor";

}  // namespace

int CQnWSMan::GetNumLogicalCpus(std::uint32_t& count, CQncString& error) {
    count = 0;
    error = "";

    int status = -1;
    ItemList items;
    if (Enumerate("Win32_Processor", items, error) == 0) {
        status = 0;
        UseStylesheet(kInstanceStylesheet);
        CQncString logical;
        // One item per processor package.
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(logical, "NumberOfLogicalProcessors", error, 0).IsEmpty()) {
                status = -1;
                break;
            }
            count += static_cast<std::uint32_t>(ParseInt32(logical.GetText()));
        }
    }
    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::GetNumLogicalCpus", ResultWord(status));
    return status;
}

int CQnWSMan::GetCpuUsage(const char* cpuName, std::uint32_t& usage, CQncString& error) {
    usage = 0;
    error = "";
    Trace(kTraceToFile, "%s called for CPU [%s]...\n", "CQnWSMan::GetCpuUsage", TraceText(cpuName));

    int status = -1;
    ItemList items;
    if (Enumerate(kProcessorCounterClass, items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty()) {
                break;
            }
            if (QncStricmp(name.GetText(), cpuName) != 0) {
                Trace(kTraceToFile, "Counter [%s] not found (yet) (found:[%s]), continue...\n",
                      TraceText(cpuName), name.GetText());
                continue;
            }
            Trace(kTraceToFile, "Counter [%s] found.\n", name.GetText());
            CQncString percent;
            if (GetProperty(percent, "PercentProcessorTime", error, 0).IsEmpty()) {
                break;
            }
            const std::int32_t value = ParseInt32(percent.GetText());
            usage = static_cast<std::uint32_t>(value);
            Trace(kTraceToFile, "Usage: [%ld].\n", static_cast<long>(value));
            if (value < 0 || value > 100) {
                error.Format("WMI property [%s:%s] out of bound, value: [%ld]", kProcessorCounterClass,
                             "PercentProcessorTime", static_cast<long>(value));
                break;
            }
            status = 0;
            break;
        }
    }
    Trace(kTraceToFile, "%s %s.\n", "CQnWSMan::GetCpuUsage", ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetCpuUsage(const char* cpuName, std::uint32_t sleepMs, std::uint32_t durationMs,
                               std::uint32_t& usage, CQncString& error) {
    const std::uint32_t start = qn::platform::GetTickCount();
    Trace(kTraceToFile, "%s called...\n", "CQnWSMan::WinRMGetCpuUsage");
    usage = 0;
    error = "";

    int status = 0;
    std::int32_t sum = 0;
    std::int32_t samples = 0;
    do {
        std::uint32_t reading = 0;
        status = GetCpuUsage(cpuName, reading, error);
        if (status != 0) {
            // Kept on purpose: a failed reading leaves the undivided sum of the earlier ones.
            break;
        }
        sum += static_cast<std::int32_t>(reading);
        usage = static_cast<std::uint32_t>(sum);
        ++samples;
        qn::platform::Sleep(sleepMs);
    } while (qn::platform::TicksElapsed(start, qn::platform::GetTickCount()) < durationMs);

    if (status == 0 && samples > 0) {
        usage = static_cast<std::uint32_t>(sum / samples);
    }
    Trace(kTraceToFile, "%s, result:[%s], error:[%s], CPU:[%s].\n", "CQnWSMan::WinRMGetCpuUsage",
          ResultWord(status), error.GetText(), TraceText(cpuName));
    return status;
}
