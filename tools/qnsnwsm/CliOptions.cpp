#include "CliOptions.h"

#include <unistd.h>

#include <charconv>
#include <functional>
#include <map>

namespace qncli {

namespace {

template <typename Int>
bool ParseInteger(const std::string& text, Int& value) {
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    return ec == std::errc() && ptr == end && !text.empty();
}

}  // namespace

std::optional<CliOptions> ParseCommandLine(const std::vector<std::string>& args, std::string& error) {
    CliOptions options;
    using Setter = std::function<bool(const std::string&)>;
    auto text = [](std::string& target) {
        return Setter([&target](const std::string& v) {
            target = v;
            return true;
        });
    };
    auto u32 = [](std::uint32_t& target) {
        return Setter([&target](const std::string& v) { return ParseInteger(v, target); });
    };
    auto i32 = [](std::int32_t& target) {
        return Setter([&target](const std::string& v) { return ParseInteger(v, target); });
    };
    const std::map<std::string, Setter> valued = {
        {"--computer", text(options.computer)},
        {"-c", text(options.computer)},
        {"--user", text(options.user)},
        {"-u", text(options.user)},
        {"--password-file", text(options.passwordFile)},
        {"--password-env", text(options.passwordEnv)},
        {"--namespace", text(options.wmiNamespace)},
        {"-n", text(options.wmiNamespace)},
        {"--trace", text(options.traceFile)},
        {"--config", text(options.configFile)},
        {"--sleep-ms", u32(options.sleepMs)},
        {"--duration-ms", u32(options.durationMs)},
        {"--cpu-threshold", i32(options.cpuThreshold)},
        {"--memory-threshold", i32(options.memoryThreshold)},
        {"--handles-threshold", i32(options.handlesThreshold)},
        {"--memory-counter", u32(options.memoryCounter)},
        {"--exclude", text(options.exclude)},
        {"--profile", text(options.profile)},
        {"--timeout", u32(options.timeoutSeconds)},
        {"-t", u32(options.timeoutSeconds)},
        {"--port", Setter([&options](const std::string& v) {
             std::uint16_t port = 0;
             if (!ParseInteger(v, port)) return false;
             options.port = port;
             return true;
         })},
        {"-p", Setter([&options](const std::string& v) {
             std::uint16_t port = 0;
             if (!ParseInteger(v, port)) return false;
             options.port = port;
             return true;
         })},
    };
    const std::map<std::string, bool*> flags = {
        {"--ssl", &options.ssl},     {"--json", &options.json}, {"--yes", &options.yes},
        {"-y", &options.yes},        {"--help", &options.help}, {"-h", &options.help},
        {"--quiet", &options.quiet}, {"-q", &options.quiet},    {"--version", &options.version},
    };

    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        std::string inlineValue;
        bool hasInlineValue = false;
        if (arg.rfind("--", 0) == 0) {
            if (const auto eq = arg.find('='); eq != std::string::npos) {
                inlineValue = arg.substr(eq + 1);
                arg.resize(eq);
                hasInlineValue = true;
            }
        }
        if (arg == "--password") {
            error =
                "--password is not accepted: a password on the command line is visible to every user of this "
                "computer. Use --password-file, --password-env or the prompt.";
            return std::nullopt;
        }
        if (auto flag = flags.find(arg); flag != flags.end()) {
            *flag->second = true;
            continue;
        }
        if (auto setter = valued.find(arg); setter != valued.end()) {
            std::string value;
            if (hasInlineValue) {
                value = inlineValue;
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                error = "option " + arg + " needs a value";
                return std::nullopt;
            }
            if (!setter->second(value)) {
                error = "invalid value for " + arg + ": '" + value + "'";
                return std::nullopt;
            }
            continue;
        }
        if (arg.size() > 1 && arg[0] == '-' && options.command.empty()) {
            error = "unknown option " + arg;
            return std::nullopt;
        }
        if (options.command.empty()) {
            options.command = arg;
        } else if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
            error = "unknown option " + arg;
            return std::nullopt;
        } else {
            options.arguments.push_back(arg);
        }
    }
    if (!options.configFile.empty() && access(options.configFile.c_str(), F_OK) != 0) {
        error = "--config " + options.configFile +
                ": no such file (name an existing configuration file, or leave --config out to use the "
                "default one)";
        return std::nullopt;
    }
    if (options.command.empty() && !options.help && !options.version) {
        error = "no command given (try --help)";
        return std::nullopt;
    }
    return options;
}

std::string UsageText() {
    return R"(Usage: qnsnwsm [options] COMMAND [ARGUMENTS]

Asks a Windows computer over WS-Management (WinRM) for its state, through libqnsnwsm.

Connection options:
  -c, --computer HOST        computer to ask (default localhost)
  -u, --user USER            DOMAIN\user, user@REALM or user; empty: your own Kerberos ticket
      --password-file FILE   read the password from the first line of FILE
      --password-env VAR     read the password from the environment variable VAR
                             (without either, QNSNWSM_PASSWORD is used if set, else you are asked)
  -n, --namespace NS         WMI namespace (default root/cimv2; root/WebAdministration for pools)
  -p, --port PORT            default 5985, or 5986 with --ssl
      --ssl                  HTTPS (certificate verified)
      --trace FILE           write the module's trace log to FILE
      --config FILE          configuration file to read (must exist; default )" QNSNWSM_DEFAULT_REGISTRY R"()
  -t, --timeout SECONDS      end the whole run after SECONDS, whatever it waits for (default: no bound)
Output:
      --json                 JSON instead of a table
  -q, --quiet                no progress indicator
  -y, --yes                  do not ask before restart-service and reboot
      --version              versions of this program and of the library it loaded
Sampling:
      --sleep-ms MS          pause between readings (default 1000)
      --duration-ms MS       how long to sample (default 3000)
      --cpu-threshold N, --memory-threshold N, --handles-threshold N, --memory-counter N, --exclude NAMES
                             process-usage settings (a negative threshold switches that measure off;
                             memory counter 0 private working set, 1 commit size, 2 working set,
                             3 peak working set, 4 paged pool, 5 non-paged pool)

Commands:
  domain                     domain and whether the computer is a domain member
  cpu [CPU]                  average CPU usage of a processor instance (default _Total)
  disks                      state of the physical disks
  disk-space DRIVE           free, used and total MB of a logical disk (e.g. C:)
  memory                     available and committed MB, pages per second
  printers | printer NAME
  processes | process NAME | process-usage [NAME]
  pools | pool NAME          IIS application pools (namespace root/WebAdministration)
  queues | queue NAME        MSMQ queues
  services | service NAME
  share NAME                 whether a share exists
  sessions                   terminal server sessions
  counter CLASS COUNTER [INSTANCE]   any WMI property of any class
  usb-drives                 models of the attached USB disks
  users | groups | members GROUP DOMAIN
  nics | nic NAME            network interfaces and their traffic
  classes | instances CLASS | properties CLASS   browse the WMI schema
  restart-service NAME       stop and start a service (asks first unless --yes)
  reboot                     restart the computer (asks first unless --yes)
  all                        every read-only check
  demo [--profile NAME]      start the bundled simulator and run every check and action against it

Examples:
  qnsnwsm demo
  qnsnwsm -c srv01.corp.example -u 'CORP\monitor' --password-file ~/.qnsnwsm-pw memory
  QNSNWSM_PASSWORD=secret qnsnwsm -c 10.0.0.5 -u 'PC1\admin' --json services
  qnsnwsm -c web01 -u monitor@CORP.EXAMPLE --ssl pool DefaultAppPool
  qnsnwsm -c srv01 -u 'CORP\monitor' counter Win32_PerfFormattedData_PerfOS_Processor PercentProcessorTime _Total

Exit status: 0 when the check completed, 1 when it failed or --timeout passed, 2 on a usage error.
)";
}

}  // namespace qncli
