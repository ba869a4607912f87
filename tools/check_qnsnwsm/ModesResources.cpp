// Modes that measure: processor, memory, disk space, traffic, sessions, queues, process usage and any
// counter.
#include <cstdlib>

#include "ListText.h"
#include "Modes.h"

namespace qncheck {

namespace {

constexpr std::uint32_t kNotMeasured = 0xFFFFFFFFu;

double Percent(double part, double whole) {
    return whole > 0 ? part * 100.0 / whole : 0.0;
}

Outcome Cpu(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("cpu", ctx.options.arguments);
    if (!r.Read() && r.error.empty())
        return {State::Unknown, "the computer has no processor instance " + r.TextOf("cpu"), {}, {}};
    if (!r.Read()) return ReadingFailed(r, "CPU usage");
    Outcome outcome;
    const double usage = r.NumberOf("usagePercent");
    ctx.Measure(outcome, "usage", "usage", usage, "%", 0.0, 100.0);
    outcome.summary = "CPU usage " + FormatNumber(usage) + "% (" + r.TextOf("cpu") + ")";
    return outcome;
}

Outcome Memory(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("memory", {});
    if (!r.Read()) return ReadingFailed(r, "memory");
    // The memory counters carry no total; the operating system's visible memory (KiB) gives the percentage.
    const qnhost::CheckResult total = ctx.Run("counter", {"Win32_OperatingSystem", "TotalVisibleMemorySize"});
    char* end = nullptr;
    const std::string totalText = total.TextOf("value");
    const double totalMB = std::strtod(totalText.c_str(), &end) / 1024.0;
    const bool haveTotal = total.Read() && !totalText.empty() && *end == '\0' && totalMB > 0;
    if (!haveTotal && ctx.metric == "available_pct")
        return ReadingFailed(total, "total memory (needed for available_pct)");

    Outcome outcome;
    const double available = r.NumberOf("availableMB");
    const double committed = r.NumberOf("committedMB");
    std::optional<double> max;
    if (haveTotal) max = static_cast<double>(static_cast<std::uint64_t>(totalMB));
    ctx.Measure(outcome, "available", "available", available, "MB", 0.0, max);
    if (haveTotal)
        ctx.Measure(outcome, "available_pct", "available_pct", Percent(available, totalMB), "%", 0.0, 100.0);
    ctx.Measure(outcome, "committed", "committed", committed, "MB", 0.0);
    ctx.Measure(outcome, "pages_per_sec", "pages_per_sec", r.NumberOf("pagesPerSec"), "");
    outcome.summary = FormatNumber(available) + " MB available";
    if (haveTotal)
        outcome.summary +=
            " of " + FormatNumber(*max) + " MB (" + FormatNumber(Percent(available, totalMB)) + "%)";
    outcome.summary += ", " + FormatNumber(committed) + " MB committed";
    return outcome;
}

Outcome DiskSpace(const ModeContext& ctx) {
    std::vector<std::string> drives = ctx.options.arguments;
    const bool named = !drives.empty();
    if (!named) {
        // Every local fixed drive (DriveType 3); each one's space then comes from the single-drive reading.
        const qnhost::CheckResult list =
            ctx.Run("instances", {"select * from Win32_LogicalDisk where DriveType=3"});
        if (!list.Read()) return ReadingFailed(list, "local drives");
        for (const auto& row : list.rows) drives.push_back(row.front());
        if (drives.empty()) {
            Outcome none;
            none.state = State::Unknown;
            none.summary = "the computer reports no local fixed drive";
            return none;
        }
    }
    Outcome outcome;
    std::vector<std::string> parts;
    for (const std::string& drive : drives) {
        const qnhost::CheckResult r = ctx.Run("disk-space", {drive});
        if (!r.Read()) {
            const bool missing = NamedItemMissing(r);
            outcome.state = Worse(outcome.state, missing && named ? State::Critical : State::Unknown);
            parts.push_back(drive + (missing ? " not found" : " unreadable: " + r.error));
            continue;
        }
        const double freeMB = r.NumberOf("freeMB"), sizeMB = r.NumberOf("sizeMB");
        const double pct = Percent(freeMB, sizeMB);
        const State a = ctx.Measure(outcome, "free", drive + " free", freeMB, "MB", 0.0, sizeMB);
        const State b = ctx.Measure(outcome, "free_pct", drive + " free_pct", pct, "%", 0.0, 100.0);
        const std::string text = drive + " " + FormatNumber(freeMB) + " MB free of " + FormatNumber(sizeMB) +
                                 " MB (" + FormatNumber(pct) + "%)";
        parts.push_back(Worse(a, b) == State::Ok ? text : text + " " + StateName(Worse(a, b)));
        outcome.details.push_back(text + ", " + std::to_string(r.NumberOf("usedMB")) + " MB used");
    }
    for (const std::string& part : parts) outcome.summary += (outcome.summary.empty() ? "" : ", ") + part;
    return outcome;
}

Outcome Nic(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("nic", ctx.options.arguments);
    const std::string& name = ctx.options.arguments[0];
    if (NamedItemMissing(r)) return {State::Critical, "network interface " + name + " not found", {}, {}};
    if (!r.Read()) return ReadingFailed(r, "network interface " + name);
    Outcome outcome;
    const double bytes = r.NumberOf("bytesPerSec"), mbit = r.NumberOf("bandwidthMbit");
    const double utilisation = Percent(bytes * 8.0, mbit * 1e6);
    ctx.Measure(outcome, "traffic", "traffic", bytes, "B", 0.0);
    ctx.Measure(outcome, "utilisation_pct", "utilisation_pct", utilisation, "%", 0.0, 100.0);
    ctx.Measure(outcome, "bandwidth_mbit", "bandwidth_mbit", mbit, "", 0.0);
    outcome.summary = name + ": " + FormatNumber(bytes) + " B/s (" + FormatNumber(utilisation) + "% of " +
                      FormatNumber(mbit) + " Mbit/s)";
    return outcome;
}

Outcome Sessions(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("sessions", {});
    if (!r.Read()) return ReadingFailed(r, "sessions");
    Outcome outcome;
    const double active = r.NumberOf("active"), inactive = r.NumberOf("inactive");
    ctx.Measure(outcome, "active", "active", active, "", 0.0);
    ctx.Measure(outcome, "inactive", "inactive", inactive, "", 0.0);
    ctx.Measure(outcome, "total", "total", active + inactive, "", 0.0);
    outcome.summary =
        FormatNumber(active) + " active, " + FormatNumber(inactive) + " disconnected session(s)";
    return outcome;
}

Outcome Queue(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("queue", ctx.options.arguments);
    const std::string& name = ctx.options.arguments[0];
    if (NamedItemMissing(r)) return {State::Critical, "queue " + name + " not found", {}, {}};
    if (!r.Read()) return ReadingFailed(r, "queue " + name);
    Outcome outcome;
    const double messages = r.NumberOf("messages"), kilobytes = r.NumberOf("kilobytes");
    ctx.Measure(outcome, "messages", "messages", messages, "", 0.0);
    ctx.Measure(outcome, "kilobytes", "kilobytes", kilobytes, "KB", 0.0);
    outcome.summary =
        name + ": " + FormatNumber(messages) + " message(s), " + FormatNumber(kilobytes) + " KB";
    return outcome;
}

Outcome ProcessUsage(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("process-usage", ctx.options.arguments);
    const std::string name = ctx.options.arguments.empty() ? "every process" : ctx.options.arguments[0];
    if (!r.Read() && r.error.empty()) return {State::Unknown, "no process " + name + " runs", {}, {}};
    if (!r.Read()) return ReadingFailed(r, "usage of " + name);
    Outcome outcome;
    std::string measured;
    auto add = [&](const char* metric, const char* field, const char* uom, const std::string& unitText) {
        const std::uint32_t value = r.NumberOf(field);
        if (value == kNotMeasured) return;
        ctx.Measure(outcome, metric, metric, value, uom, 0.0);
        measured += (measured.empty() ? "" : ", ") + std::to_string(value) + unitText;
    };
    add("cpu", "cpuPercent", "%", "% CPU");
    add("memory", "memoryMB", "MB", " MB");
    add("handles", "handles", "", " handles");
    outcome.summary =
        r.TextOf("instance") + " (pid " + std::to_string(r.NumberOf("processId")) + "): " + measured;
    return outcome;
}

Outcome Counter(const ModeContext& ctx) {
    const auto& a = ctx.options.arguments;
    const qnhost::CheckResult r = ctx.Run("counter", a);
    const std::string what = a[0] + "." + a[1] + (a.size() > 2 ? "[" + a[2] + "]" : "");
    if (!r.Read()) return ReadingFailed(r, what + (r.error.empty() ? " (no such instance or property)" : ""));
    const std::string value = r.TextOf("value");
    if (value.empty()) return {State::Unknown, what + ": the class has no instance", {}, {}};
    Outcome outcome;
    outcome.summary = what + " = " + value;
    if (!ctx.options.expect.empty() && value != ctx.options.expect)
        outcome.Raise(State::Critical, "expected '" + ctx.options.expect + "'");
    char* end = nullptr;
    const double number = std::strtod(value.c_str(), &end);
    if (*end != '\0') {
        if (!ctx.thresholds.Empty())
            outcome.Raise(State::Unknown, "thresholds need a number, the value is '" + value + "'");
        return outcome;
    }
    ctx.Measure(outcome, "value", ctx.options.label.empty() ? a[1] : ctx.options.label, number, "");
    return outcome;
}

}  // namespace

void AddResourceModes(std::vector<ModeSpec>& modes) {
    modes.push_back({"cpu",
                     "[-a CPU]",
                     0,
                     1,
                     "average processor usage of one instance (default _Total), sampled "
                     "for --duration-ms with --sleep-ms between readings",
                     "thresholds on the usage in percent (default -w 80 -c 90)",
                     "usage (%)",
                     {"usage"},
                     "80",
                     "90",
                     false,
                     Cpu});
    modes.push_back({"memory",
                     "",
                     0,
                     0,
                     "available and committed memory",
                     "thresholds on available_pct (default -w 10: -c 5:, i.e. WARNING below 10 % available) "
                     "or, with --metric, on available or committed (MB)",
                     "available (MB), available_pct (%), committed (MB), pages_per_sec",
                     {"available_pct", "available", "committed", "pages_per_sec"},
                     "10:",
                     "5:",
                     false,
                     Memory});
    modes.push_back(
        {"disk-space",
         "[-a DRIVE]...",
         0,
         16,
         "free space of the named drives (C:), or of every local "
         "fixed drive",
         "thresholds on each drive's free_pct (default -w 10: -c 5:) or, with --metric free, its free "
         "MB; a named drive that does not exist is CRITICAL",
         "'DRIVE free' (MB), 'DRIVE free_pct' (%)",
         {"free_pct", "free"},
         "10:",
         "5:",
         false,
         DiskSpace});
    modes.push_back(
        {"nic",
         "-a NAME",
         1,
         1,
         "traffic on one network interface (as qnsnwsm nics lists it)",
         "thresholds on traffic (bytes/s), or with --metric on utilisation_pct or bandwidth_mbit; a "
         "missing interface is CRITICAL",
         "traffic (B), utilisation_pct (%), bandwidth_mbit",
         {"traffic", "utilisation_pct", "bandwidth_mbit"},
         "",
         "",
         false,
         Nic});
    modes.push_back({"sessions",
                     "",
                     0,
                     0,
                     "remote desktop sessions",
                     "thresholds on active sessions, or with --metric on inactive or total",
                     "active, inactive, total",
                     {"active", "inactive", "total"},
                     "",
                     "",
                     false,
                     Sessions});
    modes.push_back(
        {"queue",
         "-a NAME",
         1,
         1,
         "length of one MSMQ queue (private$\\orders)",
         "thresholds on messages, or with --metric kilobytes on their size; a missing queue is CRITICAL",
         "messages, kilobytes (KB)",
         {"messages", "kilobytes"},
         "",
         "",
         false,
         Queue});
    modes.push_back({"process-usage",
                     "[-a NAME]",
                     0,
                     1,
                     "CPU, memory and handles of one process (with or without "
                     ".exe; the last one listed when several match), CPU sampled for --duration-ms",
                     "thresholds on cpu (%), or with --metric on memory (MB, --memory-counter) or handles; a "
                     "process that does not run is UNKNOWN",
                     "cpu (%), memory (MB), handles",
                     {"cpu", "memory", "handles"},
                     "",
                     "",
                     false,
                     ProcessUsage});
    modes.push_back(
        {"counter",
         "-a CLASS -a PROPERTY [-a INSTANCE]",
         2,
         3,
         "any property of any WMI class (the "
         "instance by Name; without one, the first)",
         "thresholds on the numeric value; --expect TEXT makes any other value CRITICAL; a missing "
         "instance or property is UNKNOWN",
         "the property name, or --label",
         {"value"},
         "",
         "",
         false,
         Counter});
}

}  // namespace qncheck
