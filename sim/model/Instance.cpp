#include "model/Instance.h"

namespace qnsim {

namespace {

// Position of a property in the instance's value list, or -1 when the class lacks it.
std::ptrdiff_t IndexOf(const ClassDef& classDef, const std::string& propertyName) {
    const PropertyDef* property = classDef.FindProperty(propertyName);
    return property == nullptr ? -1 : property - classDef.properties.data();
}

}  // namespace

PropertyValue* Instance::Find(const std::string& propertyName) {
    const std::ptrdiff_t index = IndexOf(*classDef, propertyName);
    return index < 0 ? nullptr : &values[static_cast<std::size_t>(index)];
}

const PropertyValue* Instance::Find(const std::string& propertyName) const {
    const std::ptrdiff_t index = IndexOf(*classDef, propertyName);
    return index < 0 ? nullptr : &values[static_cast<std::size_t>(index)];
}

void Instance::Set(const std::string& propertyName, std::string text) {
    PropertyValue* value = Find(propertyName);
    if (value == nullptr) return;
    value->isNull = false;
    value->texts.assign(1, std::move(text));
    value->references.clear();
}

std::string Instance::Text(const std::string& propertyName) const {
    const PropertyValue* value = Find(propertyName);
    if (value == nullptr || value->isNull || value->texts.empty()) return {};
    return value->texts.front();
}

}  // namespace qnsim
