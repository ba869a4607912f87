// Modes whose reading is itself a state: services, processes, pools, shares, domain, printers, disks.
#include <strings.h>

#include "ListText.h"
#include "Modes.h"

namespace qncheck {

namespace {

bool SameText(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

Outcome Service(const ModeContext& ctx) {
    const std::string& asked = ctx.options.arguments[0];
    // The single-service reading decides; the service list is never split for a state.
    const qnhost::CheckResult r = ctx.Run("service", {asked});
    if (!r.Read()) return ReadingFailed(r, "service " + asked);
    if (r.NumberOf("installed") == 0)
        return {State::Critical, "service " + asked + " is not installed", {}, {}};
    Outcome outcome;
    const std::string state = r.TextOf("state"), startMode = r.TextOf("startMode");
    outcome.summary =
        r.TextOf("name") + " (" + r.TextOf("displayName") + ") is " + state + ", start mode " + startMode;
    if (state != "Running") outcome.state = State::Critical;
    if (!ctx.options.startMode.empty() && !SameText(startMode, ctx.options.startMode))
        outcome.Raise(State::Warning,
                      "start mode " + startMode + " where " + ctx.options.startMode + " is expected");
    return outcome;
}

Outcome Process(const ModeContext& ctx) {
    const std::string& name = ctx.options.arguments[0];
    const qnhost::CheckResult r = ctx.Run("process", {name});
    if (!r.Read()) return ReadingFailed(r, "process " + name);
    if (r.NumberOf("running") == 0) return {State::Critical, name + " is not running", {}, {}};
    return {State::Ok, name + " is running", {}, {}};
}

Outcome Pool(const ModeContext& ctx) {
    const std::string& name = ctx.options.arguments[0];
    const qnhost::CheckResult r = ctx.Run("pool", {name});
    if (!r.Read()) return ReadingFailed(r, "application pool " + name);
    const std::string text = "application pool " + name + " is " + r.TextOf("state");
    return {r.NumberOf("started") != 0 ? State::Ok : State::Critical, text, {}, {}};
}

Outcome Share(const ModeContext& ctx) {
    const std::string& name = ctx.options.arguments[0];
    const qnhost::CheckResult r = ctx.Run("share", {name});
    if (NamedItemMissing(r)) return {State::Critical, "share " + name + " does not exist", {}, {}};
    if (!r.Read()) return ReadingFailed(r, "share " + name);
    return {State::Ok, "share " + name + " exists", {}, {}};
}

Outcome Domain(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("domain", {});
    if (!r.Read()) return ReadingFailed(r, "domain");
    const std::string domain = r.TextOf("domain");
    if (r.NumberOf("domainMember") == 0)
        return {State::Critical, "not a domain member (workgroup " + domain + ")", {}, {}};
    Outcome outcome{State::Ok, "member of " + domain, {}, {}};
    if (!ctx.options.arguments.empty() && !SameText(domain, ctx.options.arguments[0]))
        outcome.Raise(State::Critical, "not a member of " + ctx.options.arguments[0]);
    return outcome;
}

// WMI's DetectedErrorState: what each value means for a monitor.
struct PrinterError {
    const char* text;
    State state;
};
PrinterError DescribePrinterError(std::uint32_t code) {
    static const PrinterError kErrors[] = {{"unknown", State::Ok},
                                           {"other error", State::Warning},
                                           {"no error", State::Ok},
                                           {"low paper", State::Warning},
                                           {"no paper", State::Critical},
                                           {"low toner", State::Warning},
                                           {"no toner", State::Critical},
                                           {"door open", State::Critical},
                                           {"jammed", State::Critical},
                                           {"offline", State::Critical},
                                           {"service requested", State::Critical},
                                           {"output bin full", State::Warning}};
    if (code < sizeof kErrors / sizeof kErrors[0]) return kErrors[code];
    return {"error state unknown to this plugin", State::Warning};
}

Outcome Printer(const ModeContext& ctx) {
    const std::string& name = ctx.options.arguments[0];
    const qnhost::CheckResult r = ctx.Run("printer", {name});
    if (NamedItemMissing(r)) return {State::Critical, "printer " + name + " does not exist", {}, {}};
    if (!r.Read()) return ReadingFailed(r, "printer " + name);
    const std::uint32_t code = r.NumberOf("detectedErrorState");
    const PrinterError error = DescribePrinterError(code);
    Outcome outcome{
        error.state, name + ": " + error.text + " (DetectedErrorState " + std::to_string(code) + ")", {}, {}};
    constexpr std::uint32_t kPrinterOffline = 7;
    if (r.NumberOf("printerStatus") == kPrinterOffline) outcome.Raise(State::Critical, "offline");
    outcome.details.push_back("PrinterStatus " + std::to_string(r.NumberOf("printerStatus")) +
                              ", Availability " + std::to_string(r.NumberOf("availability")));
    return outcome;
}

Outcome Disks(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("disks", {});
    if (!r.Read()) return ReadingFailed(r, "physical disks");
    Outcome outcome;
    for (const auto& row : r.rows) outcome.details.push_back(row.front() + ": OK");
    // The module's own verdict decides; the list of healthy disks is only shown.
    if (r.NumberOf("allDisksOk") == 0) {
        const auto unbracketed = [](const std::string& text) {
            const std::vector<std::string> names = qnhost::SplitBracketList(text);
            return names.empty() ? text : names.front();
        };
        const std::string disk = unbracketed(r.TextOf("badDisk")),
                          status = unbracketed(r.TextOf("badDiskStatus"));
        outcome.state = State::Critical;
        outcome.summary = "disk " + disk + " is " + status;
        outcome.details.push_back(disk + ": " + status);
    } else {
        outcome.summary = "every physical disk reports OK";
    }
    return outcome;
}

}  // namespace

void AddStateModes(std::vector<ModeSpec>& modes) {
    modes.push_back({"disks",
                     "",
                     0,
                     0,
                     "health of the physical disks",
                     "CRITICAL on the first disk whose status is not OK",
                     "none",
                     {},
                     "",
                     "",
                     false,
                     Disks});
    modes.push_back(
        {"service",
         "-a NAME",
         1,
         1,
         "one service, by name or display name",
         "CRITICAL when it is not running or not installed; WARNING when --start-mode is given and "
         "differs",
         "none",
         {},
         "",
         "",
         false,
         Service});
    modes.push_back({"process",
                     "-a NAME",
                     1,
                     1,
                     "whether a process runs (notepad.exe)",
                     "CRITICAL when it does not run",
                     "none",
                     {},
                     "",
                     "",
                     false,
                     Process});
    modes.push_back({"pool",
                     "-a NAME",
                     1,
                     1,
                     "one IIS application pool (namespace root/WebAdministration)",
                     "CRITICAL when it is not started",
                     "none",
                     {},
                     "",
                     "",
                     true,
                     Pool});
    modes.push_back({"share",
                     "-a NAME",
                     1,
                     1,
                     "whether a share exists (C$, Users)",
                     "CRITICAL when it does not exist",
                     "none",
                     {},
                     "",
                     "",
                     false,
                     Share});
    modes.push_back({"domain",
                     "[-a DOMAIN]",
                     0,
                     1,
                     "domain membership",
                     "CRITICAL when the computer is not a domain member, or not of DOMAIN when one is given",
                     "none",
                     {},
                     "",
                     "",
                     false,
                     Domain});
    modes.push_back({"printer",
                     "-a NAME",
                     1,
                     1,
                     "one printer's error state",
                     "WARNING on low paper or toner, a full output bin or another error; CRITICAL when it is "
                     "missing, offline, jammed, open, out of paper or toner or needs service",
                     "none",
                     {},
                     "",
                     "",
                     false,
                     Printer});
}

}  // namespace qncheck
