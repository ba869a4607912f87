#include "parsing/RecordLookup.h"

#include <string>
#include <string_view>

namespace {

constexpr std::string_view kLineBreak = "\r\n";
constexpr std::string_view kNameValueSeparator = ":=";

}  // namespace

CQncString LookupRecordValue(const char* record, const char* propertyName, const char* missingMarker) {
    const std::string_view text = record != nullptr ? record : "";
    std::size_t lineStart = 0;
    while (lineStart <= text.size()) {
        const std::size_t lineEnd = text.find(kLineBreak, lineStart);
        const std::size_t lineLength =
            (lineEnd == std::string_view::npos ? text.size() : lineEnd) - lineStart;
        CQncString line(std::string(text.substr(lineStart, lineLength)).c_str());
        line.Trim();
        if (line.IsEmpty()) break;

        const std::string_view trimmedLine = line.GetText();
        CQncString name(std::string(trimmedLine.substr(0, trimmedLine.find(kNameValueSeparator))).c_str());
        name.Trim();
        if (QncStricmp(name.GetText(), propertyName) == 0) {
            // The separator is removed only right after the name, so "Name := x" reads as ":= x".
            line.RemovePrefix(propertyName).RemovePrefix(":=").Trim();
            return line;
        }
        if (lineEnd == std::string_view::npos) break;
        lineStart = lineEnd + kLineBreak.size();
    }
    return CQncString(missingMarker);
}
