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
    std::string hint;        // what to change, for a failure the host has advice for (ConnectHint.h)
    std::vector<Field> fields;
    // Tabular part, for the list exports: column names and one row per entry.
    std::vector<std::string> columns;
    std::vector<std::vector<std::string>> rows;
    std::size_t irregularRows = 0;  // entries whose field count was not the columns' (see SplitRows)

    // The export returned 0: its outputs hold a reading, though an error text may qualify it ("Process not
    // found" with running = 0, a list with an entry that lacked a property).
    bool Read() const { return code == 0; }
    // A reading with no error text: what a report may call ok without reservation.
    bool Succeeded() const { return Read() && error.empty(); }
    void AddText(std::string name, std::string text) {
        fields.push_back({std::move(name), Field::Kind::Text, std::move(text), 0});
    }
    void AddNumber(std::string name, std::uint32_t value) {
        fields.push_back({std::move(name), Field::Kind::Number, {}, value});
    }
    void AddFlag(std::string name, std::uint32_t value) {
        fields.push_back({std::move(name), Field::Kind::Flag, {}, value});
    }

    // A field by name; nullptr when the result has none of that name.
    const Field* Find(const std::string& name) const {
        for (const Field& field : fields)
            if (field.name == name) return &field;
        return nullptr;
    }
    std::uint32_t NumberOf(const std::string& name) const {
        const Field* field = Find(name);
        return field != nullptr ? field->number : 0;
    }
    std::string TextOf(const std::string& name) const {
        const Field* field = Find(name);
        return field != nullptr ? field->text : std::string();
    }
};

}  // namespace qnhost
