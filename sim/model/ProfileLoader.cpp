#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>

#include "model/ComputerData.h"
#include "model/DerivedCounters.h"
#include "model/TextRules.h"
#include "model/ValueParsing.h"

namespace qnsim {

namespace {

using nlohmann::json;

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

// Fills "{i}" and "{host}" placeholders in every string of a template.
void Substitute(json& node, const std::string& index, const std::string& host) {
    if (node.is_string()) {
        std::string text = node.get<std::string>();
        ReplaceAll(text, "{i}", index);
        ReplaceAll(text, "{host}", host);
        node = text;
    } else if (node.is_structured()) {
        for (auto& child : node) Substitute(child, index, host);
    }
}

bool ReadJsonFile(const std::string& path, json& document, std::string& error) {
    std::ifstream in(path);
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    try {
        document = json::parse(in);
    } catch (const json::parse_error& e) {
        error = path + ": not valid JSON: " + e.what();
        return false;
    }
    if (!document.is_object()) {
        error = path + ": the top level must be an object";
        return false;
    }
    return true;
}

class ProfileReader {
  public:
    ProfileReader(ComputerData& data, std::string& error) : data_(data), error_(error) {}

    bool ReadInstances(const std::string& file, const json& instances) {
        if (!instances.is_object()) return Fail(file, "instances", "must map namespaces to classes");
        for (const auto& [wmiNamespace, classes] : instances.items()) {
            if (!data_.schema->HasNamespace(wmiNamespace))
                return Fail(file, "instances/" + wmiNamespace, "unknown namespace");
            if (!classes.is_object())
                return Fail(file, "instances/" + wmiNamespace, "must map classes to lists");
            for (const auto& [className, entries] : classes.items()) {
                const std::string place = "instances/" + wmiNamespace + "/" + className;
                const ClassDef* classDef = data_.schema->FindClass(wmiNamespace, className);
                if (classDef == nullptr) return Fail(file, place, "unknown class " + className);
                // Either a plain list, or {"defaults": {...}, "instances": [...]} whose defaults every
                // instance of the list starts from.
                const json defaults =
                    entries.is_object() ? entries.value("defaults", json::object()) : json::object();
                const json list = entries.is_object() ? entries.value("instances", json()) : entries;
                if (!list.is_array() || !defaults.is_object())
                    return Fail(file, place, "must be a list of instances or {\"defaults\", \"instances\"}");
                for (std::size_t i = 0; i < list.size(); ++i)
                    if (!ReadEntry(file, place + "[" + std::to_string(i) + "]", *classDef, defaults, list[i]))
                        return false;
            }
        }
        return true;
    }

  private:
    static json WithDefaults(const json& defaults, const json& body) {
        json merged = defaults;
        for (const auto& [name, value] : body.items()) merged[name] = value;
        return merged;
    }

    bool ReadEntry(const std::string& file, const std::string& place, const ClassDef& classDef,
                   const json& defaults, const json& entry) {
        if (!entry.is_object()) return Fail(file, place, "an instance must be an object");
        if (!entry.contains("repeat")) {
            json instance = WithDefaults(defaults, entry);
            Substitute(instance, "", data_.hostName);
            return ReadInstance(file, place, classDef, instance);
        }
        const json count = entry["repeat"];
        if (!count.is_number_unsigned() || !entry.contains("template") || !entry["template"].is_object())
            return Fail(file, place, "a generator needs \"repeat\" (a count) and a \"template\" object");
        const std::int64_t start = entry.value("start", 0);
        const json cycles = entry.value("cycle", json::object());
        for (std::uint64_t n = 0; n < count.get<std::uint64_t>(); ++n) {
            json instance = WithDefaults(defaults, entry["template"]);
            for (const auto& [property, choices] : cycles.items()) {
                if (!choices.is_array() || choices.empty())
                    return Fail(file, place, "cycle of " + property + " must be a non-empty list");
                instance[property] = choices[n % choices.size()];
            }
            const std::string index = std::to_string(start + static_cast<std::int64_t>(n));
            Substitute(instance, index, data_.hostName);
            if (!ReadInstance(file, place + "#" + index, classDef, instance)) return false;
        }
        return true;
    }

    bool ReadInstance(const std::string& file, const std::string& place, const ClassDef& classDef,
                      const json& body) {
        Instance instance;
        instance.classDef = &classDef;
        instance.values.resize(classDef.properties.size());
        for (const auto& [name, value] : body.items()) {
            if (name == "$sim") {
                if (!ReadSimulation(file, place, instance, value)) return false;
                continue;
            }
            const PropertyDef* property = classDef.FindProperty(name);
            if (property == nullptr)
                return Fail(file, place, "property " + name + " is not in " + classDef.name);
            std::string problem;
            PropertyValue& target =
                instance.values[static_cast<std::size_t>(property - classDef.properties.data())];
            if (!ParsePropertyValue(*property, value, target, problem)) return Fail(file, place, problem);
        }
        std::string identity;
        for (const PropertyDef* key : classDef.Keys()) {
            const PropertyValue* value = instance.Find(key->name);
            if (value->isNull) return Fail(file, place, "key property " + key->name + " is missing");
            identity += ToLowerAscii(value->texts.empty() ? ReferenceText(value->references.front())
                                                          : value->texts.front()) +
                        '\n';
        }
        if (!seenKeys_[&classDef].insert(identity).second)
            return Fail(file, place, "another instance of " + classDef.name + " has the same keys");
        data_.instances[&classDef].push_back(std::move(instance));
        return true;
    }

    bool ReadSimulation(const std::string& file, const std::string& place, Instance& instance,
                        const json& sim) {
        if (!sim.is_object()) return Fail(file, place, "$sim must be an object");
        const json waves = sim.value("wave", json::object());
        const json rates = sim.value("rate", json::object());
        for (const auto& [name, wave] : waves.items()) {
            const PropertyDef* property = instance.classDef->FindProperty(name);
            if (property == nullptr || !IsIntegerType(property->type) || !wave.is_object())
                return Fail(file, place,
                            "$sim wave names " + name + ", not an integer property of the class");
            instance.waves[property->name] =
                Wave{wave.value("mean", 0.0), wave.value("amplitude", 0.0), wave.value("periodSeconds", 60.0),
                     wave.value("phase", 0.0)};
        }
        for (const auto& [name, rate] : rates.items()) {
            const PropertyDef* property = instance.classDef->FindProperty(name);
            if (property == nullptr || !IsIntegerType(property->type) || !rate.is_number())
                return Fail(file, place,
                            "$sim rate names " + name + ", not an integer property of the class");
            instance.ratesPerSecond[property->name] = rate.get<double>();
        }
        instance.cpuLoadPercent = sim.value("cpuLoadPercent", 0.0);
        instance.applicationPoolState = sim.value("state", 1);
        return true;
    }

    static std::string ReferenceText(const ObjectPath& path) {
        std::string text = path.className;
        for (const auto& [key, value] : path.keys) text += "," + key + "=" + value;
        return text;
    }

    bool Fail(const std::string& file, const std::string& place, const std::string& problem) {
        error_ = file + ": " + place + ": " + problem;
        return false;
    }

    ComputerData& data_;
    std::string& error_;
    std::map<const ClassDef*, std::set<std::string>> seenKeys_;
};

Wave ReadWave(const json& node, Wave fallback) {
    if (!node.is_object()) return fallback;
    return Wave{node.value("mean", fallback.mean), node.value("amplitude", fallback.amplitude),
                node.value("periodSeconds", fallback.periodSeconds), node.value("phase", fallback.phase)};
}

}  // namespace

const std::vector<Instance>& ComputerData::InstancesOf(const ClassDef* classDef) const {
    static const std::vector<Instance> kNone;
    const auto found = instances.find(classDef);
    return found == instances.end() ? kNone : found->second;
}

bool LoadProfile(const std::string& profilePath, const std::string& classFolder, ComputerData& data,
                 std::string& error) {
    data.schema = std::make_shared<CimSchema>();
    if (!data.schema->LoadFolder(classFolder, error)) return false;
    json profile;
    if (!ReadJsonFile(profilePath, profile, error)) return false;
    data.hostName = profile.value("hostName", "");
    if (data.hostName.empty()) {
        error = profilePath + ": hostName is missing";
        return false;
    }
    const json settings = profile.value("settings", json::object());
    data.settings.serviceTransitionSeconds =
        settings.value("serviceTransitionSeconds", data.settings.serviceTransitionSeconds);
    data.settings.processorPercent =
        ReadWave(settings.value("processorPercent", json()), data.settings.processorPercent);

    ProfileReader reader(data, error);
    const std::filesystem::path folder = std::filesystem::path(profilePath).parent_path();
    for (const auto& include : profile.value("include", json::array())) {
        if (!include.is_string()) {
            error = profilePath + ": include: entries must be file names";
            return false;
        }
        const std::string includePath = (folder / include.get<std::string>()).string();
        json part;
        if (!ReadJsonFile(includePath, part, error)) {
            error = profilePath + ": include: " + error;
            return false;
        }
        if (!reader.ReadInstances(includePath, part.value("instances", json::object()))) return false;
    }
    if (!reader.ReadInstances(profilePath, profile.value("instances", json::object()))) return false;
    DeriveCounters(data);
    return true;
}

}  // namespace qnsim
