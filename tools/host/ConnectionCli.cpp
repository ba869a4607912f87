#include "ConnectionCli.h"

namespace qnhost {

void AddConnectionOptions(CLI::App& app, ConnectionOptions& options, const std::string& computerFlags) {
    const std::string group = "Connection";
    app.add_option(computerFlags, options.computer, "computer to ask (default localhost)")->group(group);
    app.add_option("-u,--username,--user", options.user,
                   "DOMAIN\\user, user@REALM or user; empty: your own Kerberos ticket")
        ->group(group);
    app.add_option("--password-file", options.passwordFile, "read the password from the first line of FILE")
        ->group(group);
    app.add_option("--password-env", options.passwordEnv,
                   std::string("read the password from the environment variable VAR (default ") +
                       kDefaultPasswordVariable + ")")
        ->group(group);
    app.add_option("-n,--namespace", options.wmiNamespace, "WMI namespace (default root/cimv2)")
        ->group(group);
    app.add_option_function<std::uint16_t>(
           "-p,--port", [&options](std::uint16_t port) { options.port = port; },
           "TCP port (default 5985, or 5986 with --ssl)")
        ->group(group);
    app.add_flag("-S,--ssl", options.ssl, "HTTPS (the certificate is verified)")->group(group);
    app.add_option("--trace", options.traceFile, "write the module's trace log to FILE")->group(group);
    app.add_option("--config", options.configFile, "configuration store to use")
        ->check(CLI::ExistingFile)
        ->group(group);
    // Accepted only to refuse it with a reason: a password in argv is visible to every local user.
    app.add_option_function<std::string>("--password",
                                         [](const std::string&) {
                                             throw CLI::ValidationError(
                                                 "--password",
                                                 "is not accepted: a password on the command line is visible "
                                                 "to every user of this computer. "
                                                 "Use --password-file, --password-env or the " +
                                                     std::string(kDefaultPasswordVariable) + " variable.");
                                         })
        ->group("");
}

}  // namespace qnhost
