// The plugin's modes: which readings each takes and what they mean as a state.
#pragma once

#include <string>
#include <vector>

#include "CheckResult.h"
#include "ModuleSession.h"
#include "Output.h"
#include "PluginOptions.h"
#include "Range.h"

namespace qncheck {

// What a mode works with: the connected handle, the options and the thresholds of the chosen measurement.
struct ModeContext {
    qnhost::ModuleHandle handle{};
    const PluginOptions& options;
    Thresholds thresholds;
    std::string metric;  // the measurement the thresholds apply to

    // One check export of the host library.
    qnhost::CheckResult Run(const std::string& check, const std::vector<std::string>& args) const;

    // Adds perfdata for one measurement; when it is the thresholded one, its state raises the outcome's.
    // Returns that measurement's state (OK when it carries no thresholds).
    State Measure(Outcome& outcome, const std::string& metricName, const std::string& label, double value,
                  const std::string& uom, std::optional<double> min = std::nullopt,
                  std::optional<double> max = std::nullopt) const;
};

struct ModeSpec {
    std::string name;
    std::string synopsis;  // the -a arguments, e.g. "-a NAME"
    std::size_t minArgs = 0;
    std::size_t maxArgs = 0;
    std::string purpose;
    std::string states;                // which readings give which state
    std::string perfdata;              // the labels it writes
    std::vector<std::string> metrics;  // thresholdable measurements; the first is the default
    std::string defaultWarning;        // used for the default metric when neither -w nor -c is given
    std::string defaultCritical;
    bool webAdministration = false;  // connects to root/WebAdministration unless -n is given
    Outcome (*evaluate)(const ModeContext&) = nullptr;
};

const std::vector<ModeSpec>& AllModes();
const ModeSpec* FindMode(const std::string& name);

// A reading that could not be taken: UNKNOWN with the module's error text.
Outcome ReadingFailed(const qnhost::CheckResult& result, const std::string& what);

// A named item the computer does not have: the export failed without an error text and found nothing.
bool NamedItemMissing(const qnhost::CheckResult& result);

// The modes of each area, gathered by AllModes().
void AddResourceModes(std::vector<ModeSpec>& modes);
void AddStateModes(std::vector<ModeSpec>& modes);
void AddAccountModes(std::vector<ModeSpec>& modes);

}  // namespace qncheck
