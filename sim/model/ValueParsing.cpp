#include "model/ValueParsing.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <regex>

namespace qnsim {

namespace {

struct IntegerRange {
    long double min;
    long double max;
};

IntegerRange RangeOf(CimType type) {
    switch (type) {
        case CimType::UInt8:
            return {0, 255};
        case CimType::UInt16:
            return {0, 65535};
        case CimType::UInt32:
            return {0, 4294967295.0L};
        case CimType::UInt64:
            return {0, 18446744073709551615.0L};
        case CimType::SInt8:
            return {-128, 127};
        case CimType::SInt16:
            return {-32768, 32767};
        case CimType::SInt32:
            return {-2147483648.0L, 2147483647};
        default:
            return {-9223372036854775808.0L, 9223372036854775807.0L};
    }
}

bool ParseInteger(CimType type, const nlohmann::json& json, std::string& text) {
    if (json.is_number_unsigned()) {
        text = std::to_string(json.get<std::uint64_t>());
    } else if (json.is_number_integer()) {
        text = std::to_string(json.get<std::int64_t>());
    } else if (json.is_string()) {
        // Generated instances carry numbers as text after "{i}" substitution.
        text = json.get<std::string>();
        if (text.empty()) return false;
        const char* first = text.data() + (text.front() == '-' ? 1 : 0);
        std::uint64_t magnitude = 0;
        const auto [end, ec] = std::from_chars(first, text.data() + text.size(), magnitude);
        if (ec != std::errc() || end != text.data() + text.size()) return false;
    } else {
        return false;
    }
    const long double value = std::stold(text);
    const IntegerRange range = RangeOf(type);
    return value >= range.min && value <= range.max;
}

bool ParseReference(const nlohmann::json& json, ObjectPath& path) {
    if (!json.is_object() || !json.contains("class") || !json["class"].is_string()) return false;
    path.className = json["class"].get<std::string>();
    const nlohmann::json keys = json.value("keys", nlohmann::json::object());
    if (!keys.is_object() || keys.empty()) return false;
    for (const auto& [key, value] : keys.items()) {
        if (!value.is_string() && !value.is_number()) return false;
        path.keys.emplace_back(key, value.is_string() ? value.get<std::string>() : value.dump());
    }
    return true;
}

bool ParseScalar(const PropertyDef& property, const nlohmann::json& json, PropertyValue& value) {
    static const std::regex kDateTime(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d(\.\d{1,7})?([+-]\d\d:\d\d|Z))");
    static const std::regex kInterval(R"(P\d+DT\d+H\d+M\d+(\.\d{1,6})?S)");
    std::string text;
    switch (property.type) {
        case CimType::String:
            if (!json.is_string()) return false;
            text = json.get<std::string>();
            break;
        case CimType::Char16:
            if (!json.is_string() || json.get<std::string>().empty()) return false;
            text = json.get<std::string>();
            break;
        case CimType::Boolean:
            if (!json.is_boolean()) return false;
            text = json.get<bool>() ? "true" : "false";
            break;
        case CimType::Real32:
        case CimType::Real64:
            if (!json.is_number()) return false;
            text = json.dump();
            break;
        case CimType::DateTime:
            if (!json.is_string() || !std::regex_match(json.get<std::string>(), kDateTime)) return false;
            text = json.get<std::string>();
            break;
        case CimType::Interval:
            if (!json.is_string() || !std::regex_match(json.get<std::string>(), kInterval)) return false;
            text = json.get<std::string>();
            break;
        case CimType::Reference: {
            ObjectPath path;
            if (!ParseReference(json, path)) return false;
            value.references.push_back(std::move(path));
            return true;
        }
        default:
            if (!ParseInteger(property.type, json, text)) return false;
    }
    value.texts.push_back(std::move(text));
    return true;
}

const char* TypeWord(const PropertyDef& property) {
    switch (property.type) {
        case CimType::String:
            return "a string";
        case CimType::Char16:
            return "a one-character string";
        case CimType::Boolean:
            return "true or false";
        case CimType::Real32:
        case CimType::Real64:
            return "a number";
        case CimType::DateTime:
            return "a date and time like 2024-01-31T08:00:00.000000+01:00";
        case CimType::Interval:
            return "an interval like P0DT0H1M40S";
        case CimType::Reference:
            return "a reference {\"class\": ..., \"keys\": {...}}";
        default:
            return "an integer within the type's range";
    }
}

}  // namespace

bool ParsePropertyValue(const PropertyDef& property, const nlohmann::json& json, PropertyValue& value,
                        std::string& problem) {
    value = PropertyValue{};
    if (json.is_null()) return true;
    value.isNull = false;
    bool fits = true;
    if (property.isArray) {
        fits = json.is_array();
        for (std::size_t i = 0; fits && i < json.size(); ++i) fits = ParseScalar(property, json[i], value);
    } else {
        fits = !json.is_array() && ParseScalar(property, json, value);
    }
    if (!fits)
        problem = "property " + property.name + " needs " + (property.isArray ? "an array of " : "") +
                  TypeWord(property) + ", not " + json.dump();
    return fits;
}

}  // namespace qnsim
