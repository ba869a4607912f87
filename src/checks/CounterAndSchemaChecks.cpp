// Any counter of any WMI class, and the schema browsing of a configuration front end: classes, instances
// and properties.
#include "base/QncList.h"
#include "base/QncText.h"
#include "checks/CheckText.h"
#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"
#include "parsing/CSnWinrmNode.h"

using qn::checks::ResultWord;
using qn::engine::TraceText;

namespace {

bool IsBlank(const char* text) {
    return text == nullptr || *text == '\0';
}

// The WMI type code of a string: every property is offered to the front end as a string property.
constexpr int kWmiStringType = 8;

}  // namespace

int CQnWSMan::WinRMGetWmiCounterData(const char* className, const char* instanceName, const char* counterName,
                                     std::uint32_t& isNumeric, CQncString& value, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMGetWmiCounterData";
    value = "";
    error = "";
    isNumeric = 0;
    Trace(kTraceToFile, "Calling %s (%s, %s, %s).\n", kMethod, TraceText(className), TraceText(instanceName),
          TraceText(counterName));

    const int status = ReadCounter(className, instanceName, counterName, isNumeric, value, error);
    Trace(kTraceToFile, "%s %s.\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::ReadCounter(const char* className, const char* instanceName, const char* counterName,
                          std::uint32_t& isNumeric, CQncString& value, CQncString& error) {
    if (IsBlank(className)) {
        error = "No Class specified";
        return -1;
    }
    if (IsBlank(counterName)) {
        error = "No Counter specified";
        return -1;
    }
    ItemList items;
    if (Enumerate(className, items, error) != 0) {
        return -1;
    }
    if (items.empty()) {
        // A class without instances is an answer: completed, with no value.
        Trace(kTraceToFile, "Enumerate call was succesful, but there are no records for this class [%s].\n",
              className);
        return 0;
    }

    UseStylesheet(kInstanceStylesheet);
    bool taken = false;
    CQncString name;
    for (const EnumeratedItem& item : items) {
        TransformItem(item, error);
        GetProperty(name, "Name", error, 0);
        Trace(kTraceToFile, "Instance name for value = [%s].\n", name.GetText());
        if (IsBlank(instanceName) || QncStricmp(name.GetText(), instanceName) == 0) {
            taken = true;
            break;
        }
    }
    if (!taken) {
        error = "";
        return -1;
    }

    CQncString counter;
    GetProperty(counter, counterName, error, 0);
    if (counter.IsEmpty()) {
        Trace(kTraceToFile, "Failed to retrieve value for counter name [%s].\n", counterName);
        error = "";
        return -1;
    }
    Trace(kTraceToFile, "Retrieved value for [%s]:[%s].\n", counterName, counter.GetText());
    isNumeric = counter.IsNumeric() ? 1 : 0;
    value = counter;
    return 0;
}

int CQnWSMan::WinRMCollectClasses(CQncListString& classList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMCollectClasses";
    classList.Clear();
    qn::checks::UseCheckSeparators(classList);
    qn::checks::UniqueNames uniqueClassList(classList);
    error = "";
    Trace(kTraceToFile, "Calling %s.\n", kMethod);

    int status = -1;
    ItemList items;
    if (Enumerate("meta_class", items, error) == 0) {
        Trace(kTraceToFile, "Enumerate %s yielded %u results. \n", "meta_class",
              static_cast<unsigned>(items.size()));
        UseStylesheet(kInstanceStylesheet);
        CQncString className;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            error = "";
            // Only the Win32 classes are offered; system, CIM and vendor classes are left out.
            if (!GetProperty(className, "__CLASS", error, 0).IsEmpty() &&
                QncStrnicmp(className.GetText(), "Win32", 5) == 0) {
                uniqueClassList.Add(className.GetText());
            }
        }
        status = 0;
    }
    Trace(kTraceToFile, "%s (result:%s)\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMCollectInstances(const char* className, CQncListString& instanceList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMCollectInstances";
    instanceList.Clear();
    qn::checks::UseCheckSeparators(instanceList);
    qn::checks::UniqueNames uniqueInstanceList(instanceList);
    error = "";
    // Kept on purpose: the class stands before the method name in this line.
    Trace(kTraceToFile, "Calling %s (%s).\n", TraceText(className), kMethod);

    int status = -1;
    ItemList items;
    if (Enumerate(className != nullptr ? className : "", items, error) == 0) {
        Trace(kTraceToFile, "Enumerate %s yielded %u results. \n", className != nullptr ? className : "",
              static_cast<unsigned>(items.size()));
        UseStylesheet(kInstanceStylesheet);
        CQncString name;
        for (const EnumeratedItem& item : items) {
            TransformItem(item, error);
            error = "";
            if (!GetProperty(name, "Name", error, 0).IsEmpty()) {
                Trace(kTraceToFile, "Adding instance [%s] to the list...\n", name.GetText());
                uniqueInstanceList.Add(name.GetText());
            }
        }
        status = 0;
    }
    Trace(kTraceToFile, "%s (result:%s)\n", kMethod, ResultWord(status));
    return status;
}

int CQnWSMan::WinRMCollectProperties(const char* className, CQncListString& propertyList, CQncString& error) {
    constexpr const char* kMethod = "CQnWSMan::WinRMCollectProperties";
    propertyList.Clear();
    qn::checks::UseCheckSeparators(propertyList);
    qn::checks::UniqueNames uniquePropertyList(propertyList);
    error = "";
    Trace(kTraceToFile, "%s called...\n", kMethod);

    CQncString query;
    query.Format("select * from meta_class where __CLASS='%s'", className != nullptr ? className : "");
    ItemList items;
    const std::uint32_t result = Enumerate(query.GetText(), items, error);
    Trace(kTraceToFile, "Enumerate [%s], result: %ld (size:%ld).\n", query.GetText(),
          static_cast<long>(static_cast<std::int32_t>(result)), static_cast<long>(items.size()));

    int status = -1;
    if (result == 0 && !items.empty()) {
        Trace(kTraceToFile, "Enumerate %s yielded %u results. \n", className != nullptr ? className : "",
              static_cast<unsigned>(items.size()));
        // The class definition is rendered as text with one property per line.
        UseStylesheet(kPropertyNamesStylesheet);
        TransformItem(items.front(), error);
        CQncString text(nodeParser ? nodeParser->GetOutput().GetText() : "");
        Trace(kTraceToFile, "Transformed node value: [%s]..", text.GetText());

        CQncString type;
        type.Format("%d", kWmiStringType);
        CQncString line;
        CQncString entry;
        // The first empty line ends the list, even when more lines follow it.
        for (int index = 0;; ++index) {
            text.Token("\n", line, index);
            line.Trim();
            if (line.IsEmpty()) {
                break;
            }
            status = 0;
            entry = line;
            uniquePropertyList.Add(entry.Append(";;").Append(type.GetText()).GetText());
        }
    }
    // Kept on purpose: "completed" stands in the format itself, so a failed call reads "completed ...
    // failed".
    Trace(kTraceToFile, "%s completed, #properties: %ld, result:%s\n", kMethod,
          static_cast<long>(propertyList.Count()), ResultWord(status));
    return status;
}
