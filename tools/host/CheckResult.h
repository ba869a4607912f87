// What one subcommand produced, independent of how it is printed.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qnhost {

struct Field {
    enum class Kind { Text, Number, Flag };
    std::string name;
    Kind kind = Kind::Text;
    std::string text;
    std::uint32_t number = 0;
};

struct CheckResult {
    std::string command;
    std::uint32_t code = 0;  // the export's result code; 0 is success
    std::string error;       // the export's error text
    std::vector<Field> fields;
    // Tabular part, for the list exports: column names and one row per entry.
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;

    // An export can return 0 and still leave an error text (a list it could not build): not a success.
    bool Succeeded() const { return code == 0 && error.empty(); }
    void AddText(std::string name, std::string text) {
        fields.push_back({std::move(name), Field::Kind::Text, std::move(text), 0});
    }
    void AddNumber(std::string name, std::uint32_t value) {
        fields.push_back({std::move(name), Field::Kind::Number, {}, value});
    }
    void AddFlag(std::string name, std::uint32_t value) {
        fields.push_back({std::move(name), Field::Kind::Flag, {}, value});
    }
};

}  // namespace qnhost
