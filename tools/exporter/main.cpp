// qnsnwsm-exporter: Windows computers' state over WinRM for Prometheus, many computers from one process.
#include <signal.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "ExporterConfig.h"
#include "HttpServer.h"
#include "ModuleStore.h"
#include "Password.h"

namespace {

constexpr const char* kDefaultListenAddress = ":10595";

// Passwords are in memory now; no child or /proc reader learns them from the environment.
void ForgetPasswordVariables(const qnexporter::ExporterConfig& config) {
    for (const std::string& variable : config.passwordVariables) qnhost::ForgetEnvironmentPassword(variable);
}

sigset_t HandledSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, signal);
    return signals;
}

// Blocks until SIGINT or SIGTERM; SIGHUP reloads the configuration. Closes idle sessions once a minute.
void Serve(qnexporter::Prober& prober, const std::string& configFile) {
    const sigset_t signals = HandledSignals();
    const timespec minute{60, 0};
    while (true) {
        const int signal = sigtimedwait(&signals, nullptr, &minute);
        if (signal == SIGINT || signal == SIGTERM) return;
        if (signal != SIGHUP) {
            prober.Sessions().CloseIdle();
            continue;
        }
        std::string error;
        auto loaded = qnexporter::LoadConfig(configFile, error, prober.Config().get());
        if (!loaded) {
            std::cerr << "qnsnwsm-exporter: reload refused, the running configuration stays: " << error
                      << "\n";
            continue;
        }
        ForgetPasswordVariables(*loaded);
        prober.Reload(std::make_shared<const qnexporter::ExporterConfig>(std::move(*loaded)));
        std::cerr << "qnsnwsm-exporter: configuration reloaded\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{
        "qnsnwsm-exporter: agentless Windows metrics over WinRM for Prometheus.\n"
        "Prometheus scrapes /probe?target=HOST[:PORT]&module=NAME; /metrics holds the exporter's own."};
    std::string configFile = "/etc/qnsnwsm/exporter.yml";
    std::string listenAddress = kDefaultListenAddress;
    bool checkOnly = false;
    app.add_option("--config.file", configFile, "the configuration file (YAML)")->capture_default_str();
    app.add_flag("--config.check", checkOnly, "validate the configuration file and exit");
    app.add_option("--web.listen-address", listenAddress, "HOST:PORT, :PORT (every address) or [IPv6]:PORT")
        ->capture_default_str();
    app.set_version_flag("--version", std::string("qnsnwsm-exporter ") + QNSNWSM_VERSION);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;  // help and version end well; every usage error is 2
    }

    // Signals are taken synchronously by the main thread; every thread started later inherits the mask.
    const sigset_t signals = HandledSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    std::string error;
    auto loaded = qnexporter::LoadConfig(configFile, error);
    if (!loaded) {
        std::cerr << "qnsnwsm-exporter: " << error << "\n";
        return 2;
    }
    ForgetPasswordVariables(*loaded);
    if (checkOnly) {
        std::cout << configFile << ": valid (" << loaded->auths.size() << " auths, " << loaded->modules.size()
                  << " modules)\n";
        return 0;
    }
    const auto store = qnexporter::UsePrivateModuleStore(loaded->settings, error);
    if (!store) {
        std::cerr << "qnsnwsm-exporter: " << error << "\n";
        return 1;
    }
    const auto config = std::make_shared<const qnexporter::ExporterConfig>(std::move(*loaded));
    qnexporter::ExporterMetrics metrics;
    qnexporter::Prober prober(config, metrics);
    int status = 0;
    {
        qnexporter::HttpServer server(prober, metrics);
        if (server.Start(listenAddress, config->settings.maxConnections, error)) {
            std::cerr << "qnsnwsm-exporter " << QNSNWSM_VERSION << ": listening on " << listenAddress << "\n";
            Serve(prober, configFile);
            std::cerr << "qnsnwsm-exporter: stopping\n";
        } else {
            std::cerr << "qnsnwsm-exporter: " << error << "\n";
            status = 1;
        }
    }
    prober.WaitForWorkers(std::chrono::seconds(2));
    std::error_code ignored;
    std::filesystem::remove_all(std::filesystem::path(*store).parent_path(), ignored);
    // Workers still inside a module call cannot be joined; leave without running destructors under them.
    std::fflush(nullptr);
    _exit(status);
}
