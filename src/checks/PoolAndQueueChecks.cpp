// IIS application pools (list, state through the GetState method) and MSMQ queues (list, length).
#include <cstring>

#include "base/QncList.h"
#include "base/QncText.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "parsing/CSnWinrmNode.h"

using qn::checks::ParseInt32;
using qn::checks::ResultWord;
using qn::engine::TraceText;

namespace {

constexpr const char* kQueueClass = "Win32_PerfRawData_MSMQ_MSMQQueue";

// The queue's name without its computer: "host\private$\orders" is "private$\orders".
const char* ShortQueueName(const char* name) {
    const char* backslash = std::strchr(name, '\\');
    return backslash != nullptr ? backslash + 1 : name;
}

const char* PoolStateWord(std::int32_t state) {
    switch (state) {
        case 0:
            return "Starting";
        case 1:
            return "Started";
        case 2:
            return "Stopping";
        case 3:
            return "Stopped";
        default:
            return "Unknown";
    }
}

}  // namespace

int CQnWSMan::WinRMGetApplicationPoolList(CQncString& poolList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetApplicationPoolList";
    poolList = "";
    error = "";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);
    const int status = CollectNames("ApplicationPool", kMethod, poolList, error);
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::CollectNames(const char* className, const char* emptyTraceMethod, CQncString& joined,
                           CQncString& error) {
    ItemList items;
    if (Enumerate(className, items, error) != 0) {
        return -1;
    }
    if (items.empty() && emptyTraceMethod != nullptr) {
        Trace(kTraceToFile, "%s - Enumerate returned empty list....\n", emptyTraceMethod);
    }
    UseStylesheet(kInstanceStylesheet);
    CQncListString names;
    qn::checks::UseCheckSeparators(names);
    qn::checks::UniqueNames uniqueNames(names);
    CQncString name;
    for (const EnumeratedItem& item : items) {
        TransformItem(item, error);
        error = "";
        // One nameless instance spoils the whole list: none of the names gathered so far is returned.
        if (GetProperty(name, "Name", error, 0).IsEmpty()) {
            return -1;
        }
        uniqueNames.Add(name.GetText());
    }
    qn::checks::SortAndJoin(names, joined);
    return 0;
}

int CQnWSMan::WinRMGetApplicationPoolState(const char* poolName, std::uint32_t& isStarted,
                                           CQncString& stateText, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetApplicationPoolState";
    stateText = "";
    error = "";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);

    // The pool name goes into the selector as it is, blanks included.
    CQncString instance("ApplicationPool?Name=");
    instance.Append(poolName);
    CQncString uri;
    qn::checks::BuildClassUri(wmiNamespace.GetText(), instance.GetText(), uri);
    // The input element's namespace is fixed; it does not follow the session's namespace.
    CQncString input;
    qn::checks::BuildMethodInput("GetState", "root/webadministration/ApplicationPool", input);

    int status = -1;
    CQncString response;
    Trace(kTraceToFile, "Calling Invoke( [%s], [%s], [%s] ... )\n", uri.GetText(), "GetState",
          input.GetText());
    if (Invoke(uri.GetText(), "GetState", input.GetText(), response, error) == 0) {
        Trace(kTraceToFile, "Invoke raw response: [%s].\n", response.GetText());
        UseStylesheet(kInstanceStylesheet);
        TransformItem(response.GetText(), error);
        error = "";
        CQncString returnValue;
        if (!GetProperty(returnValue, "ReturnValue", error, 0).IsEmpty()) {
            const std::int32_t state = ParseInt32(returnValue.GetText());
            isStarted = state == 1 ? 1 : 0;
            stateText = PoolStateWord(state);
            // Kept on purpose: hosts search their traces for this name.
            Trace(kTraceToFile, "WbemGetApplicationPoolState [%s(%s)].\n", returnValue.GetText(),
                  stateText.GetText());
            status = 0;
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMGetMsMqList(CQncString& queueList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetMsMqList";
    queueList = "";
    error = "";
    Trace(kTraceToFile, "Calling %s...\n", kMethod);

    int status = -1;
    long queues = 0;
    ItemList items;
    if (Enumerate(kQueueClass, items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncListString names;
        qn::checks::UseCheckSeparators(names);
        qn::checks::UniqueNames uniqueNames(names);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            // Unlike the pool list, a nameless queue is only passed over.
            if (!GetProperty(name, "Name", error, 0).IsEmpty()) {
                uniqueNames.Add(ShortQueueName(name.GetText()));
            }
        }
        queues = static_cast<long>(names.Count());
        qn::checks::SortAndJoin(names, queueList);
        status = 0;
    }
    Trace(kTraceToFile, "%s %s; #Queues found: [%ld]\n", kMethod, ResultWord(status), queues);
    return status;
}

int CQnWSMan::WinRMGetMsMqLength(const char* queueName, std::uint32_t& queueFound,
                                 std::uint32_t& messageCount, std::uint32_t& kilobytes, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetMsMqLength";
    Trace(kTraceToFile, "%s [%s] called...\n", kMethod, TraceText(queueName));
    queueFound = messageCount = kilobytes = 0;
    error = "";

    int status = -1;
    ItemList items;
    if (Enumerate(kQueueClass, items, error) == 0) {
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            if (GetProperty(name, "Name", error, 0).IsEmpty() ||
                QncStricmp(ShortQueueName(name.GetText()), queueName) != 0) {
                continue;
            }
            queueFound = 1;
            error = "";
            CQncString messages;
            if (GetProperty(messages, "MessagesInQueue", error, 0).IsEmpty()) {
                break;
            }
            messageCount = static_cast<std::uint32_t>(ParseInt32(messages.GetText()));
            CQncString bytes;
            if (GetProperty(bytes, "BytesInQueue", error, 0).IsEmpty()) {
                break;
            }
            kilobytes = static_cast<std::uint32_t>(ParseInt32(bytes.GetText()) / 1024);
            status = 0;
            break;
        }
        if (queueFound == 0) {
            error = "";
        }
    }
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}
