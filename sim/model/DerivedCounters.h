// Performance-counter instances that Windows derives from other classes (a raw process counter per process,
// a formatted processor counter per logical CPU), built once after a profile is loaded so that they agree
// with the profile's processes and processors.
#pragma once

#include <vector>

#include "model/ComputerData.h"

namespace qnsim {

inline constexpr double kSys100NsPerSecond = 10'000'000.0;

void DeriveCounters(ComputerData& data);
unsigned LogicalProcessorCount(const ComputerData& data);

// The instances of a class as a monitor sees them `seconds` after the model started: gauges swung, raw
// counters advanced, totals recomputed.
std::vector<Instance> SampleInstances(const ComputerData& data, const ClassDef& classDef, double seconds);

}  // namespace qnsim
