#include "Modes.h"

#include "Checks.h"

namespace qncheck {

qnhost::CheckResult ModeContext::Run(const std::string& check, const std::vector<std::string>& args) const {
    const qnhost::CheckSpec* spec = qnhost::FindCheck(check);
    return spec->run(handle, options, args);
}

State ModeContext::Measure(Outcome& outcome, const std::string& metricName, const std::string& label,
                           double value, const std::string& uom, std::optional<double> min,
                           std::optional<double> max) const {
    PerfValue perf{label, value, uom, {}, {}, min, max};
    State state = State::Ok;
    if (metricName == metric) {
        if (thresholds.warning) perf.warning = thresholds.warning->Text();
        if (thresholds.critical) perf.critical = thresholds.critical->Text();
        state = thresholds.Evaluate(value);
        outcome.state = Worse(outcome.state, state);
    }
    outcome.perfdata.push_back(std::move(perf));
    return state;
}

Outcome ReadingFailed(const qnhost::CheckResult& result, const std::string& what) {
    Outcome outcome;
    outcome.state = State::Unknown;
    outcome.summary = what + ": " + (result.error.empty() ? "the computer gave no reading" : result.error);
    return outcome;
}

bool NamedItemMissing(const qnhost::CheckResult& result) {
    return !result.Read() && result.error.empty() && result.NumberOf("found") == 0;
}

const std::vector<ModeSpec>& AllModes() {
    static const std::vector<ModeSpec> modes = [] {
        std::vector<ModeSpec> all;
        AddResourceModes(all);
        AddStateModes(all);
        AddAccountModes(all);
        return all;
    }();
    return modes;
}

const ModeSpec* FindMode(const std::string& name) {
    for (const ModeSpec& mode : AllModes())
        if (mode.name == name) return &mode;
    return nullptr;
}

}  // namespace qncheck
