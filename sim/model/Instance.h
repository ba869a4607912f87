// One WMI instance of the simulated computer: a value per property of its class, plus how the values a
// monitor samples move with time.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "model/CimSchema.h"

namespace qnsim {

// A reference value: the class and key values of the instance it points to.
struct ObjectPath {
    std::string className;
    std::vector<std::pair<std::string, std::string>> keys;
};

struct PropertyValue {
    bool isNull = true;
    std::vector<std::string> texts;      // one per element; a scalar has one, in the wire's text form
    std::vector<ObjectPath> references;  // used instead of texts for reference properties
};

// A counter that swings around a mean: mean + amplitude * sin(2*pi*(t/period + phase)).
struct Wave {
    double mean = 0;
    double amplitude = 0;
    double periodSeconds = 60;
    double phase = 0;
};

struct Instance {
    const ClassDef* classDef = nullptr;
    std::vector<PropertyValue> values;             // parallel to classDef->properties
    std::map<std::string, Wave> waves;             // property name -> gauge that swings with time
    std::map<std::string, double> ratesPerSecond;  // property name -> raw counter growth per second
    double cpuLoadPercent = 0;                     // for processes: the load their raw counters give
    int applicationPoolState = 1;                  // for application pools: GetState's answer

    PropertyValue* Find(const std::string& propertyName);
    const PropertyValue* Find(const std::string& propertyName) const;
    // Sets a scalar from its text form; does nothing when the class lacks the property.
    void Set(const std::string& propertyName, std::string text);
    // The text of a scalar property, empty when NULL or absent.
    std::string Text(const std::string& propertyName) const;
};

}  // namespace qnsim
