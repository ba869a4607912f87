// qnsnwsm-sim: a WinRM endpoint that answers like a Windows computer, for developing and testing
// monitoring checks without a Windows lab.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "server/SimServer.h"

namespace {

constexpr const char* kUsage = R"(Usage: qnsnwsm-sim [options]

A WinRM (WS-Management) endpoint on 127.0.0.1 that behaves like a Windows computer.

Options:
  --port N               TCP port (default 5985, or 5986 with --https; 0 picks a free port)
  --https                serve HTTPS; needs --cert and --key
  --cert FILE            PEM server certificate
  --key FILE             PEM private key
  --profile NAME|FILE    computer to simulate: workstation, server, unhealthy or a profile file
                         (default workstation)
  --users FILE           accounts, one per line: DOMAIN:user:password[:norights]
  --keytab FILE          Kerberos keytab for HTTP/<host> (enables Kerberos inside Negotiate)
  --allow-unencrypted    accept SOAP bodies without message encryption over HTTP
  --basic                offer and accept Basic authentication
  --faults FILE          fault-injection rules (see README)
  --log FILE             append one line per request
  --enumeration-timeout MS  lifetime of an idle enumeration context (default 240000)
  --first-batch N        items sent with an optimized Enumerate before Pulls (default 1)
  --help                 this text

Prints "listening on 127.0.0.1:PORT" once ready; stops on SIGINT or SIGTERM.
)";

bool ParseNumber(std::string_view text, unsigned long max, unsigned long& value) {
    if (text.empty() || text.size() > 10 || text.find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    value = std::stoul(std::string(text));
    return value <= max;
}

}  // namespace

int main(int argc, char** argv) {
    qnsim::SimOptions options;
    bool portGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        const auto value = [&](std::string& target) {
            if (i + 1 >= argc) {
                std::cerr << "qnsnwsm-sim: " << arg << " needs a value\n";
                std::exit(2);
            }
            target = argv[++i];
        };
        const auto number = [&](unsigned long max) {
            std::string text;
            value(text);
            unsigned long parsed = 0;
            if (!ParseNumber(text, max, parsed)) {
                std::cerr << "qnsnwsm-sim: bad number '" << text << "' for " << arg << "\n";
                std::exit(2);
            }
            return parsed;
        };
        if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (arg == "--port") {
            options.port = static_cast<std::uint16_t>(number(65535));
            portGiven = true;
        } else if (arg == "--https") {
            options.https = true;
        } else if (arg == "--cert") {
            value(options.certFile);
        } else if (arg == "--key") {
            value(options.keyFile);
        } else if (arg == "--profile") {
            value(options.profile);
        } else if (arg == "--users") {
            value(options.usersFile);
        } else if (arg == "--keytab") {
            value(options.keytabFile);
        } else if (arg == "--allow-unencrypted") {
            options.allowUnencrypted = true;
        } else if (arg == "--basic") {
            options.basic = true;
        } else if (arg == "--faults") {
            value(options.faultsFile);
        } else if (arg == "--log") {
            value(options.logFile);
        } else if (arg == "--enumeration-timeout") {
            options.enumerationTimeoutMs = static_cast<std::uint32_t>(number(0xFFFFFFFFul));
        } else if (arg == "--first-batch") {
            options.maxItemsInEnumerateResponse = static_cast<std::uint32_t>(number(1000000));
        } else {
            std::cerr << "qnsnwsm-sim: unknown option " << arg << " (see --help)\n";
            return 2;
        }
    }
    if (!portGiven) options.port = options.https ? 5986 : 5985;
    if (options.https && (options.certFile.empty() || options.keyFile.empty())) {
        std::cerr << "qnsnwsm-sim: --https needs --cert and --key\n";
        return 2;
    }
    if (options.usersFile.empty() && options.keytabFile.empty())
        std::cerr << "qnsnwsm-sim: warning: no --users or --keytab, nobody can authenticate\n";

    // Block the stop signals before any server thread exists, so that only sigwait below receives them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    std::string error;
    std::unique_ptr<qnsim::SimServer> server = qnsim::StartSimServer(options, error);
    if (!server) {
        std::cerr << "qnsnwsm-sim: " << error << "\n";
        return 1;
    }
    std::cout << "listening on 127.0.0.1:" << server->Port() << (options.https ? " (https)" : "")
              << std::endl;
    int received = 0;
    sigwait(&stopSignals, &received);
    server->Stop();
    std::cout << "stopped" << std::endl;
    return 0;
}
