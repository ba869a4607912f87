#include "parsing/RecordLookup.h"

#include <cstring>
#include <string>
#include <string_view>

#include "base/QncText.h"

namespace {

constexpr std::string_view kLineBreak = "\r\n";
constexpr std::string_view kNameValueSeparator = ":=";

bool EqualsIgnoringCase(std::string_view text, std::string_view name) {
    return name.size() == text.size() && QncStrnicmp(text.data(), name.data(), text.size()) == 0;
}

}  // namespace

// Views into the record, no copy per line: a check reads a handful of properties from every item.
CQncString LookupRecordValue(const char* record, const char* propertyName, const char* missingMarker) {
    const std::string_view text = record != nullptr ? record : "";
    const std::string_view wanted = propertyName != nullptr ? propertyName : "";
    // A line that starts with a letter other than the name's first cannot be the name's: most lines.
    const char wantedFirst = wanted.empty() ? '\0' : QncToUpperAscii(wanted.front());
    std::size_t lineStart = 0;
    while (lineStart <= text.size()) {
        const std::size_t lineEnd = text.find(kLineBreak, lineStart);
        const char first = lineStart < text.size() ? text[lineStart] : '\0';
        if (wantedFirst != '\0' && first != '\0' && !QncIsTrimChar(first) &&
            QncToUpperAscii(first) != wantedFirst) {
            if (lineEnd == std::string_view::npos) break;
            lineStart = lineEnd + kLineBreak.size();
            continue;
        }
        const std::size_t lineLength =
            (lineEnd == std::string_view::npos ? text.size() : lineEnd) - lineStart;
        const std::string_view line = QncTrimmed(text.substr(lineStart, lineLength));
        if (line.empty()) break;

        const std::string_view name = QncTrimmed(line.substr(0, line.find(kNameValueSeparator)));
        if (EqualsIgnoringCase(name, wanted)) {
            // The separator is removed only right after the name, so "Name := x" reads as ":= x".
            std::string_view value = line.substr(name.size());
            if (value.starts_with(kNameValueSeparator)) value.remove_prefix(kNameValueSeparator.size());
            return CQncString(std::string(QncTrimmed(value)).c_str());
        }
        if (lineEnd == std::string_view::npos) break;
        lineStart = lineEnd + kLineBreak.size();
    }
    return CQncString(missingMarker);
}
