// Everything a profile describes: the host, its instances per class, and how its state changes.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "model/CimSchema.h"
#include "model/Instance.h"

namespace qnsim {

struct SimulationSettings {
    double serviceTransitionSeconds = 2.5;  // how long Stop Pending / Start Pending last
    Wave processorPercent{20, 10, 90, 0};   // per-processor load of the formatted processor counters
};

struct ComputerData {
    std::string hostName;
    std::shared_ptr<CimSchema> schema;
    std::map<const ClassDef*, std::vector<Instance>> instances;
    SimulationSettings settings;

    const std::vector<Instance>& InstancesOf(const ClassDef* classDef) const;
};

// Reads a profile file and the class definitions it refers to; false with a message naming file and place.
bool LoadProfile(const std::string& profilePath, const std::string& classFolder, ComputerData& data,
                 std::string& error);

}  // namespace qnsim
