#include "platform/posix/IniDocument.h"

#include <algorithm>

namespace qn::platform::posix {

namespace {

char FoldAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

// The section name of a "[name]" line, if it is one.
std::optional<std::string_view> SectionHeaderName(std::string_view line) {
    const std::string_view trimmed = TrimBlanks(line);
    if (trimmed.size() < 2 || trimmed.front() != '[') return std::nullopt;
    const std::size_t close = trimmed.rfind(']');
    if (close == std::string_view::npos || close == 0) return std::nullopt;
    return TrimBlanks(trimmed.substr(1, close - 1));
}

// The key of a "key=value" line, if it is one.
std::optional<std::string_view> LineKey(std::string_view line) {
    const std::string_view trimmed = TrimBlanks(line);
    if (trimmed.empty() || trimmed.front() == ';' || trimmed.front() == '#') return std::nullopt;
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return std::nullopt;
    return TrimBlanks(line.substr(0, equals));
}

}  // namespace

bool EqualsNoCase(std::string_view left, std::string_view right) {
    return left.size() == right.size() &&
           std::equal(left.begin(), left.end(), right.begin(),
                      [](char a, char b) { return FoldAscii(a) == FoldAscii(b); });
}

std::string_view TrimBlanks(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    return text;
}

IniDocument IniDocument::Parse(std::string_view text) {
    IniDocument document;
    std::vector<std::string>* target = &document.preamble_;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (const auto name = SectionHeaderName(line)) {
            document.sections_.push_back(Section{std::string(*name), {}});
            target = &document.sections_.back().lines;
        } else {
            target->emplace_back(line);
        }
    }
    return document;
}

std::string IniDocument::Serialize() const {
    std::string text;
    for (const std::string& line : preamble_) text.append(line).push_back('\n');
    for (const Section& section : sections_) {
        text.append("[").append(section.name).append("]\n");
        for (const std::string& line : section.lines) text.append(line).push_back('\n');
    }
    return text;
}

IniDocument::Section* IniDocument::Find(std::string_view name) {
    for (Section& section : sections_) {
        if (EqualsNoCase(section.name, name)) return &section;
    }
    return nullptr;
}

const IniDocument::Section* IniDocument::Find(std::string_view name) const {
    return const_cast<IniDocument*>(this)->Find(name);
}

IniDocument::Section& IniDocument::FindOrAdd(std::string_view name) {
    if (Section* section = Find(name)) return *section;
    sections_.push_back(Section{std::string(name), {}});
    return sections_.back();
}

bool IniDocument::Remove(std::string_view name) {
    const auto found = std::find_if(sections_.begin(), sections_.end(),
                                    [&](const Section& section) { return EqualsNoCase(section.name, name); });
    if (found == sections_.end()) return false;
    sections_.erase(found);
    return true;
}

std::optional<std::string> IniDocument::GetValue(const Section& section, std::string_view key) {
    for (const std::string& line : section.lines) {
        const auto lineKey = LineKey(line);
        if (lineKey && EqualsNoCase(*lineKey, key)) {
            return std::string(TrimBlanks(std::string_view(line).substr(line.find('=') + 1)));
        }
    }
    return std::nullopt;
}

void IniDocument::SetValue(Section& section, std::string_view key, std::string_view value) {
    std::string line = std::string(key) + "=" + std::string(value);
    for (std::string& existing : section.lines) {
        const auto lineKey = LineKey(existing);
        if (lineKey && EqualsNoCase(*lineKey, key)) {
            existing = std::move(line);
            return;
        }
    }
    // New keys go after the last non-blank line, so a blank line before the next section stays there.
    auto insertAt = section.lines.end();
    while (insertAt != section.lines.begin() && TrimBlanks(*(insertAt - 1)).empty()) --insertAt;
    section.lines.insert(insertAt, std::move(line));
}

bool IniDocument::RemoveValue(Section& section, std::string_view key) {
    const auto found = std::find_if(section.lines.begin(), section.lines.end(), [&](const std::string& line) {
        const auto lineKey = LineKey(line);
        return lineKey && EqualsNoCase(*lineKey, key);
    });
    if (found == section.lines.end()) return false;
    section.lines.erase(found);
    return true;
}

}  // namespace qn::platform::posix
