// Turning profile JSON values into property values of a given CIM type, with the checks that keep a
// profile honest about types.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "model/CimSchema.h"
#include "model/Instance.h"

namespace qnsim {

// False with a short problem description when the JSON value does not fit the property's type.
bool ParsePropertyValue(const PropertyDef& property, const nlohmann::json& json, PropertyValue& value,
                        std::string& problem);

}  // namespace qnsim
