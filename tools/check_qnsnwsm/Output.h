// What a mode concluded and how a monitoring core reads it: the status line, perfdata and long output.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "State.h"

namespace qncheck {

// One perfdata item: 'label'=value[UOM];[warn];[crit];[min];[max]
struct PerfValue {
    std::string label;
    double value = 0;
    std::string uom;  // "", "%", "B", "MB", "s", "c"
    std::string warning;
    std::string critical;
    std::optional<double> min;
    std::optional<double> max;
};

struct Outcome {
    State state = State::Ok;
    std::string summary;
    std::vector<PerfValue> perfdata;
    std::vector<std::string> details;  // long output, one line each

    // Raises the state to `state` when that is worse, and says why in the summary.
    void Raise(State state, const std::string& reason);
};

// A number without trailing zeros: 12, 12.5, 0.33.
std::string FormatNumber(double value);

std::string FormatPerfValue(const PerfValue& value);

// "QNSNWSM <MODE> <STATE> - <summary> | <perfdata>" followed by the long output lines.
std::string Render(const std::string& mode, const Outcome& outcome);

}  // namespace qncheck
