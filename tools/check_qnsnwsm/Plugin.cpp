#include "Plugin.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <ostream>

#include "ConnectHint.h"
#include "ModuleSession.h"
#include "Password.h"
#include "RunDeadline.h"

namespace qncheck {

namespace {

constexpr const char* kProgramName = "check_qnsnwsm";

std::optional<Range> ParseRangeOption(const std::string& text, const char* option, std::string& error) {
    if (text.empty()) return std::nullopt;
    std::string problem;
    std::optional<Range> range = Range::Parse(text, problem);
    if (!range) error = std::string(option) + ": " + problem;
    return range;
}

int Finish(const std::string& mode, const Outcome& outcome, std::ostream& out) {
    out << Render(mode, outcome) << std::flush;
    return static_cast<int>(outcome.state);
}

}  // namespace

std::string UsageErrorLine(const std::string& mode, const std::string& error) {
    Outcome outcome{State::Unknown, error + " (see check_qnsnwsm --help)", {}, {}};
    return Render(mode, outcome);
}

std::optional<PreparedMode> PrepareMode(const PluginOptions& options, std::string& error) {
    PreparedMode prepared;
    prepared.mode = FindMode(options.mode);
    const ModeSpec* mode = prepared.mode;
    if (mode == nullptr) {
        error = "unknown mode '" + options.mode + "'";
        return std::nullopt;
    }
    const std::size_t count = options.arguments.size();
    if (count < mode->minArgs || count > mode->maxArgs) {
        error = "mode " + mode->name + " takes " + (mode->synopsis.empty() ? "no -a" : mode->synopsis);
        return std::nullopt;
    }
    const bool thresholdsGiven = !options.warning.empty() || !options.critical.empty();
    if (mode->metrics.empty() && (thresholdsGiven || !options.metric.empty())) {
        error = "mode " + mode->name + " takes no thresholds: its reading is a state";
        return std::nullopt;
    }
    if (!mode->metrics.empty()) {
        prepared.metric = options.metric.empty() ? mode->metrics.front() : options.metric;
        bool known = false;
        std::string names;
        for (const std::string& metric : mode->metrics) {
            known = known || metric == prepared.metric;
            names += (names.empty() ? "" : ", ") + metric;
        }
        if (!known) {
            error =
                "mode " + mode->name + " has no measurement '" + prepared.metric + "' (it has " + names + ")";
            return std::nullopt;
        }
    }
    const bool useDefaults = !thresholdsGiven && options.metric.empty();
    prepared.thresholds.warning =
        ParseRangeOption(useDefaults ? mode->defaultWarning : options.warning, "-w", error);
    prepared.thresholds.critical =
        ParseRangeOption(useDefaults ? mode->defaultCritical : options.critical, "-c", error);
    if (!error.empty()) return std::nullopt;
    return prepared;
}

int RunPlugin(const PluginOptions& options, std::ostream& out) {
    std::string error;
    const std::optional<PreparedMode> prepared = PrepareMode(options, error);
    if (!prepared) {
        out << UsageErrorLine(options.mode, error) << std::flush;
        return static_cast<int>(State::Unknown);
    }
    const ModeSpec& mode = *prepared->mode;

    // Whatever the module is waiting for, the run ends within the limit with the state -t asks for.
    const std::string expiredLine =
        Render(mode.name, {options.timeoutState,
                           "no result within " + FormatNumber(options.timeoutSeconds) + " s (-t)",
                           {},
                           {}});
    const int expiredCode = static_cast<int>(options.timeoutState);
    qnhost::RunDeadline deadline(
        std::chrono::milliseconds(static_cast<long long>(options.timeoutSeconds * 1000)),
        [&expiredLine, expiredCode] {
            const ssize_t written = write(STDOUT_FILENO, expiredLine.data(), expiredLine.size());
            (void)written;
            std::_Exit(expiredCode);
        });

    if (!options.configFile.empty()) setenv("QNSNWSM_REGISTRY", options.configFile.c_str(), 1);
    const std::optional<std::string> password = qnhost::ResolvePassword(options, error);
    if (!password) return Finish(mode.name, {State::Unknown, error, {}, {}}, out);

    qnhost::ModuleSession session;
    if (!session.Initialize(kProgramName, options.traceFile))
        return Finish(mode.name, {State::Unknown, "the module could not be initialised", {}, {}}, out);
    qnhost::ConnectSettings settings = qnhost::SettingsFrom(options, *password);
    if (settings.wmiNamespace.empty() && mode.webAdministration)
        settings.wmiNamespace = "root/WebAdministration";
    if (session.Connect(settings, error) != 0) {
        const std::string target = settings.computer + ":" + std::to_string(settings.port);
        const std::string hint = qnhost::ConnectHint(error, settings);
        std::vector<std::string> details;
        if (!hint.empty()) details.push_back("hint: " + hint);
        return Finish(
            mode.name,
            {State::Unknown, target + ": " + (error.empty() ? "could not connect" : error), {}, details},
            out);
    }

    const ModeContext context{session.Handle(), options, prepared->thresholds, prepared->metric};
    Outcome outcome = mode.evaluate(context);
    if (options.verbosity >= 1)
        outcome.details.push_back("computer " + settings.computer + ":" + std::to_string(settings.port) +
                                  (settings.ssl ? " (HTTPS)" : " (HTTP)") + ", namespace " +
                                  (settings.wmiNamespace.empty() ? "root/cimv2" : settings.wmiNamespace));
    if (options.verbosity >= 2 && !prepared->metric.empty())
        outcome.details.push_back(
            "thresholds on " + prepared->metric + ": warning '" +
            (prepared->thresholds.warning ? prepared->thresholds.warning->Text() : "") + "', critical '" +
            (prepared->thresholds.critical ? prepared->thresholds.critical->Text() : "") + "'");
    return Finish(mode.name, outcome, out);
}

}  // namespace qncheck
