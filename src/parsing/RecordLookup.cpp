#include "parsing/RecordLookup.h"

#include <cstring>
#include <string>
#include <string_view>

#include "base/QncText.h"

namespace {

constexpr std::string_view kLineBreak = "\r\n";
constexpr std::string_view kNameValueSeparator = ":=";

std::string_view Trimmed(std::string_view text) {
    while (!text.empty() && QncIsTrimChar(text.front())) text.remove_prefix(1);
    while (!text.empty() && QncIsTrimChar(text.back())) text.remove_suffix(1);
    return text;
}

bool EqualsIgnoringCase(std::string_view text, const char* name) {
    return std::strlen(name) == text.size() && QncStrnicmp(text.data(), name, text.size()) == 0;
}

}  // namespace

// Views into the record, no copy per line: a check reads a handful of properties from every item.
CQncString LookupRecordValue(const char* record, const char* propertyName, const char* missingMarker) {
    const std::string_view text = record != nullptr ? record : "";
    const char* wanted = propertyName != nullptr ? propertyName : "";
    std::size_t lineStart = 0;
    while (lineStart <= text.size()) {
        const std::size_t lineEnd = text.find(kLineBreak, lineStart);
        const std::size_t lineLength =
            (lineEnd == std::string_view::npos ? text.size() : lineEnd) - lineStart;
        const std::string_view line = Trimmed(text.substr(lineStart, lineLength));
        if (line.empty()) break;

        const std::string_view name = Trimmed(line.substr(0, line.find(kNameValueSeparator)));
        if (EqualsIgnoringCase(name, wanted)) {
            // The separator is removed only right after the name, so "Name := x" reads as ":= x".
            std::string_view value = line.substr(name.size());
            if (value.starts_with(kNameValueSeparator)) value.remove_prefix(kNameValueSeparator.size());
            return CQncString(std::string(Trimmed(value)).c_str());
        }
        if (lineEnd == std::string_view::npos) break;
        lineStart = lineEnd + kLineBreak.size();
    }
    return CQncString(missingMarker);
}
