#include "Output.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace qncheck {

namespace {

std::string QuotedLabel(const std::string& label) {
    std::string quoted = "'";
    for (char c : label) {
        // A quote in a label is written twice; "=" and line breaks cannot be read back at all.
        if (c == '\'')
            quoted += "''";
        else if (c == '=' || c == '\n' || c == '\r' || c == '|')
            quoted += '_';
        else
            quoted += c;
    }
    return quoted + "'";
}

// The long output and summary must not end the status line or open a perfdata part early.
std::string OneLine(const std::string& text) {
    std::string line = text;
    for (char& c : line)
        if (c == '\n' || c == '\r')
            c = ' ';
        else if (c == '|')
            c = '/';
    return line;
}

}  // namespace

void Outcome::Raise(State raised, const std::string& reason) {
    if (Worse(state, raised) != state) state = raised;
    if (!reason.empty()) summary = summary.empty() ? reason : reason + ", " + summary;
}

std::string FormatNumber(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    std::string out = text;
    while (out.back() == '0') out.pop_back();
    if (out.back() == '.') out.pop_back();
    return out == "-0" ? "0" : out;
}

std::string FormatPerfValue(const PerfValue& value) {
    std::string text = QuotedLabel(value.label) + "=" + FormatNumber(value.value) + value.uom + ";" +
                       value.warning + ";" + value.critical + ";" +
                       (value.min ? FormatNumber(*value.min) : "") + ";" +
                       (value.max ? FormatNumber(*value.max) : "");
    while (text.back() == ';') text.pop_back();
    return text;
}

std::string Render(const std::string& mode, const Outcome& outcome) {
    std::string upper = mode;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    std::string text = "QNSNWSM " + (upper.empty() ? "" : upper + " ") + StateName(outcome.state) + " - " +
                       OneLine(outcome.summary);
    if (!outcome.perfdata.empty()) {
        text += " |";
        for (const PerfValue& value : outcome.perfdata) text += " " + FormatPerfValue(value);
    }
    text += "\n";
    for (const std::string& line : outcome.details) text += OneLine(line) + "\n";
    return text;
}

}  // namespace qncheck
