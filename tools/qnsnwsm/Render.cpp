#include "Render.h"

#include <algorithm>
#include <iomanip>
#include <nlohmann/json.hpp>

namespace qncli {

using qnhost::Field;

namespace {

std::string FieldValue(const Field& field) {
    switch (field.kind) {
        case Field::Kind::Number:
            return std::to_string(field.number);
        case Field::Kind::Flag:
            return field.number != 0 ? "yes" : "no";
        case Field::Kind::Text:
            break;
    }
    return field.text;
}

void RenderRows(const qnhost::CheckResult& result, std::ostream& out) {
    if (result.columns.empty()) return;
    std::vector<std::size_t> widths(result.columns.size());
    for (std::size_t c = 0; c < result.columns.size(); ++c) widths[c] = result.columns[c].size();
    for (const auto& row : result.rows)
        for (std::size_t c = 0; c < row.size() && c < widths.size(); ++c)
            widths[c] = std::max(widths[c], row[c].size());
    auto line = [&](const std::vector<std::string>& cells) {
        out << "  ";
        for (std::size_t c = 0; c < widths.size(); ++c) {
            const std::string& cell = c < cells.size() ? cells[c] : std::string();
            out << cell;
            if (c + 1 < widths.size()) out << std::string(widths[c] - cell.size() + 2, ' ');
        }
        out << '\n';
    };
    line(result.columns);
    std::vector<std::string> rule;
    for (std::size_t w : widths) rule.emplace_back(w, '-');
    line(rule);
    for (const auto& row : result.rows) line(row);
    out << "  (" << result.rows.size() << (result.rows.size() == 1 ? " entry" : " entries") << ")\n";
}

nlohmann::json ToJson(const qnhost::CheckResult& result) {
    nlohmann::json json;
    json["command"] = result.command;
    json["ok"] = result.Succeeded();
    json["code"] = result.code;
    json["error"] = result.error;
    if (!result.hint.empty()) json["hint"] = result.hint;
    nlohmann::json values = nlohmann::json::object();
    for (const Field& field : result.fields) {
        switch (field.kind) {
            case Field::Kind::Number:
                values[field.name] = field.number;
                break;
            case Field::Kind::Flag:
                values[field.name] = field.number != 0;
                break;
            case Field::Kind::Text:
                values[field.name] = field.text;
                break;
        }
    }
    json["values"] = values;
    if (!result.columns.empty()) {
        nlohmann::json items = nlohmann::json::array();
        for (const auto& row : result.rows) {
            nlohmann::json item = nlohmann::json::object();
            for (std::size_t c = 0; c < result.columns.size(); ++c)
                item[result.columns[c]] = c < row.size() ? row[c] : "";
            items.push_back(std::move(item));
        }
        json["items"] = std::move(items);
    }
    return json;
}

// Texts from the remote computer are UTF-8 but not guaranteed valid; never let one byte break the JSON.
std::string DumpJson(const nlohmann::json& json) {
    return json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

void RenderTable(const qnhost::CheckResult& result, std::ostream& out) {
    std::size_t width = 6;  // "status"
    for (const Field& field : result.fields) width = std::max(width, field.name.size());
    out << result.command << '\n';
    out << "  " << std::left << std::setw(static_cast<int>(width)) << "status"
        << " : " << (result.Succeeded() ? "OK" : "FAILED (code " + std::to_string(result.code) + ")") << '\n';
    if (!result.error.empty())
        out << "  " << std::setw(static_cast<int>(width)) << "error"
            << " : " << result.error << '\n';
    if (!result.hint.empty())
        out << "  " << std::setw(static_cast<int>(width)) << "hint"
            << " : " << result.hint << '\n';
    for (const Field& field : result.fields)
        out << "  " << std::setw(static_cast<int>(width)) << field.name << " : " << FieldValue(field) << '\n';
    RenderRows(result, out);
}

void RenderJson(const qnhost::CheckResult& result, std::ostream& out) {
    out << DumpJson(ToJson(result)) << '\n';
}

void RenderTableReport(const std::vector<qnhost::CheckResult>& results, std::ostream& out) {
    std::size_t passed = 0;
    for (const qnhost::CheckResult& result : results) {
        RenderTable(result, out);
        out << '\n';
        if (result.Succeeded()) ++passed;
    }
    std::size_t width = 0;
    for (const qnhost::CheckResult& result : results) width = std::max(width, result.command.size());
    out << "Summary\n";
    for (const qnhost::CheckResult& result : results) {
        out << "  " << std::left << std::setw(static_cast<int>(width)) << result.command << "  "
            << (result.Succeeded() ? "OK" : "FAILED");
        if (!result.Succeeded() && !result.error.empty()) out << "  " << result.error;
        out << '\n';
    }
    out << "  " << passed << " of " << results.size() << " checks completed\n";
}

void RenderJsonReport(const std::vector<qnhost::CheckResult>& results, std::ostream& out) {
    nlohmann::json report = nlohmann::json::array();
    for (const qnhost::CheckResult& result : results) report.push_back(ToJson(result));
    out << DumpJson(report) << '\n';
}

}  // namespace qncli
