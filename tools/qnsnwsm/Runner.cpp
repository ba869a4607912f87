#include "Runner.h"

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>

#include "Checks.h"
#include "ConnectHint.h"
#include "Demo.h"
#include "ModuleSession.h"
#include "Password.h"
#include "Progress.h"
#include "Render.h"
#include "RunDeadline.h"
#include "StylesheetDiagnosis.h"
#include "Version.h"

namespace qncli {

namespace {

constexpr const char* kProgramName = "qnsnwsm-cli";

bool Confirm(const CliOptions& options, const qnhost::CheckSpec& spec, std::ostream& err) {
    if (options.yes) return true;
    if (!isatty(STDIN_FILENO)) {
        err << "qnsnwsm: " << spec.name << " changes " << options.computer
            << "; add --yes to run it without a terminal\n";
        return false;
    }
    err << "This will " << (spec.name == "reboot" ? "restart the computer " : "restart a service on ")
        << options.computer << ". Continue? [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    return answer == "y" || answer == "Y" || answer == "yes";
}

qnhost::ConnectSettings SettingsFor(const CliOptions& options, const std::string& password,
                                    const qnhost::CheckSpec* spec) {
    qnhost::ConnectSettings settings = qnhost::SettingsFrom(options, password);
    if (settings.wmiNamespace.empty() && spec != nullptr && spec->webAdministration)
        settings.wmiNamespace = "root/WebAdministration";
    return settings;
}

qnhost::CheckResult ConnectFailure(const std::string& command, std::uint32_t code, const std::string& error,
                                   const qnhost::ConnectSettings* settings = nullptr) {
    qnhost::CheckResult result;
    result.command = command;
    result.code = code == 0 ? 0xFFFFFFFFu : code;
    result.error = error.empty() ? "could not connect" : error;
    if (settings != nullptr) result.hint = qnhost::ConnectHint(result.error, *settings);
    return result;
}

void Render(const CliOptions& options, const std::vector<qnhost::CheckResult>& results, bool report,
            std::ostream& out) {
    if (report) {
        options.json ? RenderJsonReport(results, out) : RenderTableReport(results, out);
    } else {
        options.json ? RenderJson(results.front(), out) : RenderTable(results.front(), out);
    }
}

void ReportStylesheetProblem(const std::vector<qnhost::CheckResult>& results, std::ostream& err) {
    for (const qnhost::CheckResult& result : results) {
        if (result.Succeeded()) continue;
        if (const std::string problem = DiagnoseStylesheets(result.error); !problem.empty()) {
            err << "qnsnwsm: " << problem << '\n';
            return;
        }
    }
}

int RunSingle(const CliOptions& options, const qnhost::CheckSpec& spec, std::ostream& out,
              std::ostream& err) {
    if (options.arguments.size() < spec.minArgs || options.arguments.size() > spec.maxArgs) {
        err << "qnsnwsm: " << spec.name << " takes " << spec.minArgs
            << (spec.maxArgs != spec.minArgs ? " to " + std::to_string(spec.maxArgs) : std::string())
            << " argument(s) (see --help)\n";
        return kExitUsage;
    }
    if (spec.changesComputer && !Confirm(options, spec, err)) return kExitUsage;
    std::string problem;
    const std::optional<std::string> password = qnhost::ResolvePassword(options, problem);
    if (!password) {
        err << "qnsnwsm: " << problem << '\n';
        return kExitUsage;
    }
    qnhost::ModuleSession session;
    if (!session.Initialize(kProgramName, options.traceFile)) {
        err << "qnsnwsm: the module could not be initialised\n";
        return kExitCheckFailed;
    }
    std::string error;
    const qnhost::ConnectSettings settings = SettingsFor(options, *password, &spec);
    const std::uint32_t connected = session.Connect(settings, error);
    qnhost::CheckResult result;
    if (connected != 0) {
        result = ConnectFailure(spec.name, connected, error, &settings);
    } else {
        Progress progress("running " + spec.name, spec.sampling && !options.quiet && !options.json);
        result = spec.run(session.Handle(), options, options.arguments);
    }
    Render(options, {result}, false, out);
    if (!result.Succeeded() && !options.json)
        err << "qnsnwsm: " << spec.name << " failed: " << result.error << '\n'
            << (result.hint.empty() ? "" : "qnsnwsm: hint: " + result.hint + '\n');
    ReportStylesheetProblem({result}, err);
    return result.Succeeded() ? kExitOk : kExitCheckFailed;
}

// Ends the program when --timeout passes, whatever the module is waiting for; --json still gets its document.
std::unique_ptr<qnhost::RunDeadline> StartDeadline(const CliOptions& options, std::ostream& out,
                                                   std::ostream& err) {
    const std::uint32_t seconds = options.timeoutSeconds;
    return std::make_unique<qnhost::RunDeadline>(
        std::chrono::seconds(seconds), [&options, &out, &err, seconds] {
            const std::string reason = "no result within " + std::to_string(seconds) +
                                       " s (--timeout): the computer, the network or name resolution did not "
                                       "answer in time; giving up";
            if (options.json) {
                RenderJson(ConnectFailure(options.command, 0xFFFFFFFFu, reason), out);
                out.flush();
            }
            err << "qnsnwsm: " << reason << std::endl;
            std::_Exit(kExitCheckFailed);
        });
}

}  // namespace

std::vector<qnhost::CheckResult> RunEveryCheck(const CliOptions& options, const std::string& password,
                                               bool withActions) {
    std::vector<qnhost::CheckResult> results;
    qnhost::ModuleSession session;
    if (!session.Initialize(kProgramName, options.traceFile)) {
        results.push_back(ConnectFailure("initialize", 0xFFFFFFFFu, "the module could not be initialised"));
        return results;
    }
    std::string error;
    const qnhost::ConnectSettings settings = SettingsFor(options, password, nullptr);
    const std::uint32_t connected = session.Connect(settings, error);
    if (connected != 0) {
        results.push_back(ConnectFailure("connect", connected, error, &settings));
        return results;
    }
    const bool showProgress = !options.quiet && !options.json;
    auto run = [&](const std::string& name, std::vector<std::string> args) -> const qnhost::CheckResult& {
        const qnhost::CheckSpec* spec = qnhost::FindCheck(name);
        Progress progress("running " + name, showProgress);
        results.push_back(spec->run(session.Handle(), options, args));
        return results.back();
    };
    auto firstRow = [](const qnhost::CheckResult& result,
                       std::size_t column = 0) -> std::optional<std::string> {
        if (!result.Succeeded() || result.rows.empty() || result.rows.front().size() <= column)
            return std::nullopt;
        return result.rows.front()[column];
    };

    run("domain", {});
    run("cpu", {"_Total"});
    run("disks", {});
    run("disk-space", {"C:"});
    run("memory", {});
    if (auto printer = firstRow(run("printers", {}))) run("printer", {*printer});
    if (auto process = firstRow(run("processes", {}))) {
        run("process", {*process});
        run("process-usage", {*process});
    }
    if (auto queue = firstRow(run("queues", {}))) run("queue", {*queue});
    std::optional<std::string> service = firstRow(run("services", {}));
    if (service) run("service", {*service});
    run("share", {"C$"});
    run("sessions", {});
    run("counter", {"Win32_PerfFormattedData_PerfOS_Processor", "PercentProcessorTime", "_Total"});
    run("usb-drives", {});
    run("users", {});
    const qnhost::CheckResult& groups = run("groups", {});
    if (auto group = firstRow(groups, 1)) run("members", {*group, firstRow(groups, 2).value_or("")});
    if (auto nic = firstRow(run("nics", {}))) run("nic", {*nic});
    run("classes", {});
    run("instances", {"Win32_Service"});
    run("properties", {"Win32_Process"});
    if (withActions) {
        run("restart-service", {"Spooler"});
        run("reboot", {});
    }

    // Application pools live in the web server's namespace: a second handle connects there.
    qnhost::ModuleSession web;
    CliOptions webOptions = options;
    webOptions.wmiNamespace = "root/WebAdministration";
    if (web.Initialize(kProgramName, options.traceFile) &&
        web.Connect(SettingsFor(webOptions, password, nullptr), error) == 0) {
        const qnhost::CheckSpec* pools = qnhost::FindCheck("pools");
        results.push_back(pools->run(web.Handle(), webOptions, {}));
        if (auto pool = firstRow(results.back()))
            results.push_back(qnhost::FindCheck("pool")->run(web.Handle(), webOptions, {*pool}));
    } else {
        results.push_back(ConnectFailure("pools", 0xFFFFFFFFu, "root/WebAdministration: " + error));
    }
    return results;
}

int RunCommandLine(const CliOptions& options, std::ostream& out, std::ostream& err) {
    if (options.help) {
        out << UsageText();
        return kExitOk;
    }
    if (options.version) {
        out << VersionText();
        return kExitOk;
    }
    if (!options.configFile.empty()) setenv("QNSNWSM_REGISTRY", options.configFile.c_str(), 1);
    const std::unique_ptr<qnhost::RunDeadline> deadline = StartDeadline(options, out, err);
    if (options.command == "demo") return RunDemo(options, out, err);
    if (options.command == "all") {
        std::string problem;
        const std::optional<std::string> password = qnhost::ResolvePassword(options, problem);
        if (!password) {
            err << "qnsnwsm: " << problem << '\n';
            return kExitUsage;
        }
        const std::vector<qnhost::CheckResult> results = RunEveryCheck(options, *password, false);
        Render(options, results, true, out);
        ReportStylesheetProblem(results, err);
        for (const qnhost::CheckResult& result : results)
            if (!result.Succeeded()) return kExitCheckFailed;
        return kExitOk;
    }
    const qnhost::CheckSpec* spec = qnhost::FindCheck(options.command);
    if (spec == nullptr) {
        err << "qnsnwsm: unknown command '" << options.command << "' (see --help)\n";
        return kExitUsage;
    }
    return RunSingle(options, *spec, out, err);
}

}  // namespace qncli
