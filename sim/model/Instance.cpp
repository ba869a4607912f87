#include "model/Instance.h"

namespace qnsim {

PropertyValue* Instance::Find(const std::string& propertyName) {
    const PropertyDef* property = classDef->FindProperty(propertyName);
    if (property == nullptr) return nullptr;
    return &values[static_cast<std::size_t>(property - classDef->properties.data())];
}

const PropertyValue* Instance::Find(const std::string& propertyName) const {
    return const_cast<Instance*>(this)->Find(propertyName);
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
