// WQL enumeration, WMI method invocation and the resource URI of the session's namespace.
#include <cstring>
#include <string>

#include "engine/CQnWSMan.h"
#include "engine/TraceText.h"

using qn::engine::TraceText;
using qn::platform::Failed;

namespace {

constexpr const char* kSessionNotOpenText =
    "WSMan session has not been opened yet, please check connection properties";

unsigned long HexCode(qn::platform::HResult code) {
    return static_cast<unsigned long>(static_cast<std::uint32_t>(code));
}

}  // namespace

void CQnWSMan::BuildResourceUri(CQncString& uri) {
    uri = qn::platform::kWmiResourceUriPrefix;
    uri.AppendCharIfMissing('/');
    uri.Append(wmiNamespace.GetText());
    uri.AppendCharIfMissing('/');
    uri.Append("*");
    uri.ReplaceAll("\\", "/");
    Trace(kTraceToFile, "Using Resource URI: [%s]\n", uri.GetText());
}

int CQnWSMan::Enumerate(const char* classOrQuery, ItemList& items, CQncString& errorText) {
    errorText = "";
    int result = -1;

    // A class name has no blank; anything with one is already a whole query.
    const char* argument = classOrQuery != nullptr ? classOrQuery : "";
    CQncString query;
    if (std::strchr(argument, ' ') != nullptr) {
        query = argument;
    } else {
        query = "select * from ";
        query.Append(argument);
    }

    Trace(kTraceToFile, "Enumerate called (%s), namespace = [%s]...", TraceText(classOrQuery),
          wmiNamespace.GetText());
    CQncString resourceUri;
    BuildResourceUri(resourceUri);
    Trace(kTraceToFile, "Enumerate is using query: [%s].", query.GetText());

    if (!session || sessionOpen == 0) {
        errorText = kSessionNotOpenText;
        Trace(kTraceToFile, "%s\n", errorText.GetText());
    } else {
        std::unique_ptr<qn::platform::WsmanEnumerator> enumerator;
        const qn::platform::HResult code = session->Enumerate(resourceUri.GetText(), query.GetText(),
                                                              qn::platform::kWqlDialectUri, 0, enumerator);
        if (Failed(code)) {
            errorText.Format("WSMan enumerate failed, error 0x%08lX", HexCode(code));
            Trace(kTraceToFile, "Enumerate failed, error code = [%s].", errorText.GetText());
            FormatWinRMError(static_cast<std::uint32_t>(code), errorText);
            Trace(kTraceToFile, "%s\n.", errorText.GetText());
        } else if (!enumerator) {
            errorText = "WSMan enumerate failed, null pointer cast";
            Trace(kTraceToFile, "Enumerate failed, error = [%s].", errorText.GetText());
        } else {
            // A failure while pulling (the service may refuse a later batch) is reported like a refused
            // enumeration; the items read before it stay in the list.
            qn::platform::HResult streamCode = qn::platform::kOk;
            bool atEnd = false;
            qn::platform::EnumeratedItem item;
            while (!Failed(streamCode = enumerator->AtEndOfStream(atEnd)) && !atEnd) {
                if (Failed(streamCode = enumerator->ReadItem(item))) {
                    break;
                }
                items.push_back(std::move(item));
            }
            if (Failed(streamCode)) {
                errorText.Format("WSMan enumerate failed, error 0x%08lX", HexCode(streamCode));
                Trace(kTraceToFile, "Enumerate failed, error code = [%s].", errorText.GetText());
                FormatWinRMError(static_cast<std::uint32_t>(streamCode), errorText);
                Trace(kTraceToFile, "%s\n.", errorText.GetText());
            } else {
                result = 0;
            }
        }
    }

    Trace(kTraceToFile, "Enumerate completed, result: %ld\n", static_cast<long>(result));
    return result;
}

int CQnWSMan::Invoke(const char* resourceUri, const char* actionName, const char* parametersXml,
                     CQncString& response, CQncString& errorText) {
    errorText = "";
    response = "";
    Trace(kTraceToFile, "Invoke called (%s), namespace = [%s]...\n", TraceText(actionName),
          wmiNamespace.GetText());

    int result = -1;
    if (!session || sessionOpen == 0) {
        errorText = "NULL pointer detected";
    } else {
        std::string output;
        const qn::platform::HResult code = session->Invoke(
            actionName != nullptr ? actionName : "", resourceUri != nullptr ? resourceUri : "",
            parametersXml != nullptr ? parametersXml : "", 0, output);
        if (Failed(code)) {
            Trace(kTraceToFile, "Invoke failed, error code = [0x%08X].\n", static_cast<unsigned>(code));
            FormatWinRMError(static_cast<std::uint32_t>(code), errorText);
            Trace(kTraceToFile, "Invoke failed, %s\n", errorText.GetText());
        } else {
            response = output.c_str();
            result = 0;
        }
    }

    Trace(kTraceToFile, "Invoke completed, result: %ld\n", static_cast<long>(result));
    return result;
}
