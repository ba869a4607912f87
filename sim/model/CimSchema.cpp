#include "model/CimSchema.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "model/TextRules.h"

namespace qnsim {

namespace {

struct TypeName {
    const char* name;
    CimType type;
};

constexpr TypeName kTypeNames[] = {
    {"string", CimType::String}, {"boolean", CimType::Boolean},   {"uint8", CimType::UInt8},
    {"uint16", CimType::UInt16}, {"uint32", CimType::UInt32},     {"uint64", CimType::UInt64},
    {"sint8", CimType::SInt8},   {"sint16", CimType::SInt16},     {"sint32", CimType::SInt32},
    {"sint64", CimType::SInt64}, {"real32", CimType::Real32},     {"real64", CimType::Real64},
    {"char16", CimType::Char16}, {"datetime", CimType::DateTime}, {"interval", CimType::Interval},
};

bool LoadClass(const std::string& wmiNamespace, const std::string& className, const nlohmann::json& body,
               ClassDef& def, std::string& problem) {
    def.name = className;
    def.wmiNamespace = wmiNamespace;
    if (!body.is_object()) {
        problem = "class definition is not an object";
        return false;
    }
    def.superClass = body.value("superclass", "");
    def.singleton = body.value("singleton", false);
    const nlohmann::json properties = body.value("properties", nlohmann::json::object());
    if (!properties.is_object()) {
        problem = "\"properties\" is not an object";
        return false;
    }
    for (const auto& [name, type] : properties.items()) {
        PropertyDef property;
        property.name = name;
        if (!type.is_string() || !ParseCimTypeName(type.get<std::string>(), property)) {
            problem = "property " + name + " has an unknown CIM type";
            return false;
        }
        def.properties.push_back(std::move(property));
    }
    for (const auto& key : body.value("keys", nlohmann::json::array())) {
        PropertyDef* property = nullptr;
        for (PropertyDef& candidate : def.properties)
            if (key.is_string() && EqualsIgnoreCaseAscii(candidate.name, key.get<std::string>()))
                property = &candidate;
        if (property == nullptr) {
            problem = "key " + key.dump() + " is not a property of the class";
            return false;
        }
        property->isKey = true;
    }
    for (const auto& method : body.value("methods", nlohmann::json::array()))
        if (method.is_string()) def.methods.push_back(method.get<std::string>());
    std::sort(def.properties.begin(), def.properties.end(), [](const PropertyDef& a, const PropertyDef& b) {
        return CompareIgnoreCaseAscii(a.name, b.name) < 0;
    });
    return true;
}

}  // namespace

std::string NormaliseNamespace(const std::string& wmiNamespace) {
    std::string normal = ToLowerAscii(wmiNamespace);
    std::replace(normal.begin(), normal.end(), '\\', '/');
    while (!normal.empty() && normal.back() == '/') normal.pop_back();
    return normal;
}

bool ParseCimTypeName(const std::string& text, PropertyDef& property) {
    std::string base = text;
    property.isArray = base.size() > 2 && base.ends_with("[]");
    if (property.isArray) base.resize(base.size() - 2);
    if (base.starts_with("ref:") && base.size() > 4) {
        property.type = CimType::Reference;
        property.referencedClass = base.substr(4);
        return true;
    }
    for (const TypeName& candidate : kTypeNames) {
        if (base == candidate.name) {
            property.type = candidate.type;
            return true;
        }
    }
    return false;
}

bool IsIntegerType(CimType type) {
    switch (type) {
        case CimType::UInt8:
        case CimType::UInt16:
        case CimType::UInt32:
        case CimType::UInt64:
        case CimType::SInt8:
        case CimType::SInt16:
        case CimType::SInt32:
        case CimType::SInt64:
            return true;
        default:
            return false;
    }
}

bool IsSignedType(CimType type) {
    return type == CimType::SInt8 || type == CimType::SInt16 || type == CimType::SInt32 ||
           type == CimType::SInt64;
}

const PropertyDef* ClassDef::FindProperty(const std::string& propertyName) const {
    for (const PropertyDef& property : properties)
        if (EqualsIgnoreCaseAscii(property.name, propertyName)) return &property;
    return nullptr;
}

bool ClassDef::HasMethod(const std::string& methodName) const {
    return std::any_of(methods.begin(), methods.end(),
                       [&](const std::string& method) { return EqualsIgnoreCaseAscii(method, methodName); });
}

std::vector<const PropertyDef*> ClassDef::Keys() const {
    std::vector<const PropertyDef*> keys;
    for (const PropertyDef& property : properties)
        if (property.isKey) keys.push_back(&property);
    return keys;
}

bool CimSchema::LoadFolder(const std::string& folder, std::string& error) {
    std::error_code ec;
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
        if (entry.path().extension() == ".json") files.push_back(entry.path().string());
    if (ec || files.empty()) {
        error = folder + ": no class definition files";
        return false;
    }
    std::sort(files.begin(), files.end());
    for (const std::string& file : files)
        if (!LoadFile(file, error)) return false;
    return true;
}

bool CimSchema::LoadFile(const std::string& path, std::string& error) {
    std::ifstream in(path);
    nlohmann::json document = nlohmann::json::parse(in, nullptr, false);
    if (document.is_discarded() || !document.is_object()) {
        error = path + ": not valid JSON";
        return false;
    }
    const std::string wmiNamespace = document.value("namespace", "");
    const nlohmann::json classes = document.value("classes", nlohmann::json::object());
    if (wmiNamespace.empty() || !classes.is_object()) {
        error = path + ": needs \"namespace\" and an object \"classes\"";
        return false;
    }
    auto& target = namespaces_[NormaliseNamespace(wmiNamespace)];
    for (const auto& [className, body] : classes.items()) {
        ClassDef def;
        std::string problem;
        if (!LoadClass(wmiNamespace, className, body, def, problem)) {
            error = path + ": class " + className + ": " + problem;
            return false;
        }
        if (!target.emplace(ToLowerAscii(className), std::move(def)).second) {
            error = path + ": class " + className + " is defined twice";
            return false;
        }
    }
    return true;
}

bool CimSchema::HasNamespace(const std::string& wmiNamespace) const {
    return namespaces_.contains(NormaliseNamespace(wmiNamespace));
}

const ClassDef* CimSchema::FindClass(const std::string& wmiNamespace, const std::string& className) const {
    const auto ns = namespaces_.find(NormaliseNamespace(wmiNamespace));
    if (ns == namespaces_.end()) return nullptr;
    const auto found = ns->second.find(ToLowerAscii(className));
    return found == ns->second.end() ? nullptr : &found->second;
}

std::vector<const ClassDef*> CimSchema::Classes(const std::string& wmiNamespace) const {
    std::vector<const ClassDef*> classes;
    const auto ns = namespaces_.find(NormaliseNamespace(wmiNamespace));
    if (ns == namespaces_.end()) return classes;
    for (const auto& [lowerName, def] : ns->second) classes.push_back(&def);
    return classes;
}

}  // namespace qnsim
