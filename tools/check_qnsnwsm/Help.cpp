#include "Help.h"

#include "ConnectionOptions.h"
#include "Modes.h"

namespace qncheck {

namespace {

constexpr const char* kUsage =
    R"(Usage: check_qnsnwsm -H HOST [-u USER --password-file FILE] -m MODE [-a ARG]...
                      [-w RANGE] [-c RANGE] [--metric NAME] [-t SECONDS[:STATE]] [-v]

Checks a Windows computer over WS-Management (WinRM) and reports a Nagios/Icinga state: exit 0 OK,
1 WARNING, 2 CRITICAL, 3 UNKNOWN (usage errors, and readings that could not be taken: connection, login,
WinRM faults, the time limit). Output: "QNSNWSM MODE STATE - summary | perfdata", then the long output.

Connection:
  -H, --hostname HOST        the Windows computer (required)
  -p, --port PORT            default 5985, or 5986 with --ssl
  -S, --ssl                  HTTPS (certificate verified)
  -u, --username USER        DOMAIN\user, user@REALM or user; empty: the Kerberos ticket of the caller
      --password-file FILE   the password is the first line of FILE
      --password-env VAR     the password is in the environment variable VAR (default QNSNWSM_PASSWORD)
  -n, --namespace NS         WMI namespace (default root/cimv2; root/WebAdministration for pool)
      --config FILE          configuration store to use
      --trace FILE           write the module's trace log to FILE
Check:
  -m, --mode MODE            what to check (below)
  -a, --arg VALUE            the mode's arguments, in order; repeat -a for each
  -w, --warning RANGE        WARNING range of the mode's measurement
  -c, --critical RANGE       CRITICAL range
      --metric NAME          which measurement -w and -c apply to (default: the mode's first)
  -t, --timeout S[:STATE]    bound the whole run to S seconds (default 30); on expiry report STATE
                             (default UNKNOWN)
  -v, --verbose              more long output (repeat for more)
  -V, --version              print the version
  -h, --help                 this text; with -m MODE only that mode
Mode settings:
      --start-mode MODE      service: the start mode expected (Auto, Manual, Disabled)
      --allowed NAMES        members: who may be a member (DOMAIN\name, comma-separated or repeated)
      --expect TEXT          counter: the value expected
      --label LABEL          counter: the perfdata label (default the property name)
      --sleep-ms MS          cpu, process-usage: pause between readings (default 1000)
      --duration-ms MS       cpu, process-usage: how long to sample (default 3000; 0 takes one reading)
      --memory-counter N     process-usage: 0 private working set, 1 commit size, 2 working set,
                             3 peak working set, 4 paged pool, 5 non-paged pool
      --exclude NAMES        process-usage: processes to leave out (a,b)

Ranges (Monitoring Plugins syntax): N alerts outside 0..N; N: below N; ~:N above N; N:M outside N..M;
@N:M inside N..M. Edges belong to the range. Given -w or -c, a mode's default thresholds are dropped.
)";

// One paragraph, wrapped at 110 columns below a six-blank indent.
std::string Paragraph(const std::string& words) {
    constexpr std::size_t kWidth = 110;
    const std::string indent(6, ' ');
    std::string text, line = indent;
    std::size_t start = 0;
    while (start < words.size()) {
        std::size_t end = words.find(' ', start);
        if (end == std::string::npos) end = words.size();
        const std::string word = words.substr(start, end - start);
        if (line.size() > indent.size() && line.size() + 1 + word.size() > kWidth) {
            text += line + "\n";
            line = indent;
        }
        line += (line.size() > indent.size() ? " " : "") + word;
        start = end + 1;
    }
    return text + line + "\n";
}

std::string ModeText(const ModeSpec& mode) {
    return "  " + mode.name + (mode.synopsis.empty() ? "" : " " + mode.synopsis) + "\n" +
           Paragraph(mode.purpose + ".") + Paragraph("States: " + mode.states + ".") +
           Paragraph("Perfdata: " + mode.perfdata + ".");
}

}  // namespace

std::string HelpText(const std::string& mode) {
    if (const ModeSpec* one = FindMode(mode)) return "Mode " + ModeText(*one).substr(2);
    std::string text = std::string(kUsage) + "\nModes:\n";
    for (const ModeSpec& spec : AllModes()) text += ModeText(spec);
    text +=
        "\nExample:\n  check_qnsnwsm -H srv01 -u 'CORP\\monitor' --password-file /etc/nagios4/qnsnwsm.pw \\\n"
        "                -m disk-space -a C: -w 15: -c 5:\n";
    return text;
}

}  // namespace qncheck
