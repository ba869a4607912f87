#include "PluginOptions.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdlib>

#include "ConnectionCli.h"

namespace qncheck {

bool ParseTimeout(const std::string& text, PluginOptions& options, std::string& error) {
    const std::size_t colon = text.find(':');
    const std::string seconds = text.substr(0, colon);
    char* end = nullptr;
    const double value = std::strtod(seconds.c_str(), &end);
    if (seconds.empty() || end != seconds.c_str() + seconds.size() || !std::isfinite(value) || value <= 0 ||
        value > 86400) {
        error = "-t '" + text +
                "': give the time limit in seconds (above 0, at most 86400), optionally "
                "followed by :STATE";
        return false;
    }
    options.timeoutSeconds = value;
    if (colon != std::string::npos) {
        const std::optional<State> state = ParseState(text.substr(colon + 1));
        if (!state) {
            error = "-t '" + text + "': the state after ':' must be OK, WARNING, CRITICAL or UNKNOWN";
            return false;
        }
        options.timeoutState = *state;
    }
    return true;
}

ParseOutcome ParseCommandLine(int argc, const char* const* argv) {
    ParseOutcome outcome;
    PluginOptions& o = outcome.options;
    o.computer.clear();  // a plugin names its computer; localhost is never the Windows machine
    CLI::App app{"check_qnsnwsm"};
    app.set_help_flag();  // help is printed by the plugin, with every mode's states
    bool help = false, version = false;
    std::string timeout;
    app.add_flag("-h,--help", help);
    app.add_flag("-V,--version", version);
    qnhost::AddConnectionOptions(app, o, "-H,--hostname");
    app.add_option("-m,--mode", o.mode);
    app.add_option("-a,--arg", o.arguments)->allow_extra_args(false);
    app.add_option("-w,--warning", o.warning);
    app.add_option("-c,--critical", o.critical);
    app.add_option("--metric", o.metric);
    app.add_option("-t,--timeout", timeout);
    app.add_flag("-v,--verbose", o.verbosity);
    app.add_option("--unit", o.unit)->check(CLI::IsMember({"%", "MB"}));
    app.add_option("--start-mode", o.startMode);
    app.add_option("--allowed", o.allowed)->allow_extra_args(false)->delimiter(',');
    app.add_option("--expect", o.expect);
    app.add_option("--label", o.label);
    app.add_option("--sleep-ms", o.sleepMs);
    app.add_option("--duration-ms", o.durationMs);
    app.add_option("--memory-counter", o.memoryCounter)->check(CLI::Range(0, 5));
    app.add_option("--exclude", o.exclude);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        outcome.status = ParseStatus::UsageError;
        outcome.error = e.what();
        return outcome;
    }
    if (help) {
        outcome.status = ParseStatus::Help;
        return outcome;
    }
    if (version) {
        outcome.status = ParseStatus::Version;
        return outcome;
    }
    if (!timeout.empty() && !ParseTimeout(timeout, o, outcome.error)) {
        outcome.status = ParseStatus::UsageError;
    } else if (o.computer.empty()) {
        outcome.status = ParseStatus::UsageError;
        outcome.error = "-H/--hostname is required: the Windows computer to check";
    } else if (o.mode.empty()) {
        outcome.status = ParseStatus::UsageError;
        outcome.error = "-m/--mode is required";
    }
    return outcome;
}

}  // namespace qncheck
