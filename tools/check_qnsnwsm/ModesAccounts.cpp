// Modes on removable drives and accounts: USB drives, locked-out users, groups and group members.
#include <strings.h>

#include <algorithm>

#include "Modes.h"

namespace qncheck {

namespace {

std::string Joined(const std::vector<std::string>& items) {
    std::string text;
    for (const std::string& item : items) text += (text.empty() ? "" : ", ") + item;
    return text;
}

Outcome UsbDrives(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("usb-drives", {});
    if (!r.Read()) return ReadingFailed(r, "USB drives");
    Outcome outcome;
    std::vector<std::string> models;
    for (const auto& row : r.rows) models.push_back(row.front());
    // A model name holding the separator counts twice: the count can be too high, never too low.
    ctx.Measure(outcome, "count", "count", static_cast<double>(models.size()), "", 0.0);
    outcome.summary =
        std::to_string(models.size()) + " USB drive(s)" + (models.empty() ? "" : ": " + Joined(models));
    outcome.details = models;
    return outcome;
}

Outcome Users(const ModeContext& ctx) {
    // The query itself selects the locked-out local accounts, so no value of an account can move one into or
    // out of the answer; the names are only shown.
    const qnhost::CheckResult r =
        ctx.Run("instances", {"select * from Win32_UserAccount where LocalAccount=TRUE and Lockout=TRUE"});
    if (!r.Read()) return ReadingFailed(r, "locked-out accounts");
    Outcome outcome;
    std::vector<std::string> names;
    for (const auto& row : r.rows) names.push_back(row.front());
    ctx.Measure(outcome, "locked", "locked", static_cast<double>(names.size()), "", 0.0);
    outcome.summary = std::to_string(names.size()) + " locked-out local account(s)" +
                      (names.empty() ? "" : ": " + Joined(names));
    return outcome;
}

Outcome Groups(const ModeContext& ctx) {
    const qnhost::CheckResult r = ctx.Run("groups", {});
    if (!r.Read()) return ReadingFailed(r, "groups");
    Outcome outcome;
    for (const auto& row : r.rows) outcome.details.push_back(row.front());
    ctx.Measure(outcome, "count", "count", static_cast<double>(r.rows.size()), "", 0.0);
    outcome.summary = std::to_string(r.rows.size()) + " group(s)";
    return outcome;
}

bool Allowed(const std::vector<std::string>& allowed, const std::string& caption) {
    return std::any_of(allowed.begin(), allowed.end(),
                       [&](const std::string& a) { return strcasecmp(a.c_str(), caption.c_str()) == 0; });
}

Outcome Members(const ModeContext& ctx) {
    const auto& a = ctx.options.arguments;
    // An unknown group has no members either: it is looked up first so that a typo cannot read as OK.
    const qnhost::CheckResult group =
        ctx.Run("counter", {"select * from Win32_Group where Domain='" + a[1] + "'", "Name", a[0]});
    if (!group.Read() && group.error.empty())
        return {State::Unknown, "no group " + a[0] + " in domain " + a[1], {}, {}};
    if (!group.Read()) return ReadingFailed(group, "group " + a[0]);
    const qnhost::CheckResult r = ctx.Run("members", a);
    if (!r.Read()) return ReadingFailed(r, "members of " + a[0]);
    // A full name holding the separators shifts fields: such a list decides nothing.
    if (r.irregularRows != 0)
        return {
            State::Unknown, "the member list of " + a[0] + " has entries that cannot be told apart", {}, {}};
    Outcome outcome;
    std::vector<std::string> outside;
    // Members are judged by caption (DOMAIN\name): it stands first in each entry and Windows names cannot
    // hold the separators, so a forged full name can add entries but never hide one.
    for (const auto& row : r.rows) {
        outcome.details.push_back(row[0] + (row[1].empty() ? "" : " (" + row[1] + ")"));
        if (!ctx.options.allowed.empty() && !Allowed(ctx.options.allowed, row[0])) outside.push_back(row[0]);
    }
    ctx.Measure(outcome, "count", "count", static_cast<double>(r.rows.size()), "", 0.0);
    outcome.summary = std::to_string(r.rows.size()) + " member(s) of " + a[0];
    if (!outside.empty()) outcome.Raise(State::Warning, "not allowed: " + Joined(outside));
    return outcome;
}

}  // namespace

void AddAccountModes(std::vector<ModeSpec>& modes) {
    modes.push_back(
        {"usb-drives",
         "",
         0,
         0,
         "attached USB disk drives",
         "thresholds on their count (e.g. -c 1: when a backup drive must be attached, -w 0 when none "
         "may be)",
         "count",
         {"count"},
         "",
         "",
         false,
         UsbDrives});
    modes.push_back({"users",
                     "",
                     0,
                     0,
                     "locked-out local accounts",
                     "thresholds on their count (default -w 0: WARNING when any account is locked out)",
                     "locked",
                     {"locked"},
                     "0",
                     "",
                     false,
                     Users});
    modes.push_back({"groups",
                     "",
                     0,
                     0,
                     "the groups, listed in the long output",
                     "thresholds on their count",
                     "count",
                     {"count"},
                     "",
                     "",
                     false,
                     Groups});
    modes.push_back({"members",
                     "-a GROUP -a DOMAIN",
                     2,
                     2,
                     "members of one group (DOMAIN: the computer's name "
                     "for a local group)",
                     "WARNING when a member is not in --allowed (DOMAIN\\name, comma-separated or repeated); "
                     "thresholds on their count; UNKNOWN when the list cannot be read unambiguously",
                     "count",
                     {"count"},
                     "",
                     "",
                     false,
                     Members});
}

}  // namespace qncheck
