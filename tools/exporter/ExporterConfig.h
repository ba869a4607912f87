// The exporter's configuration file: accounts (auths), modules (which collectors with which arguments) and
// the exporter's own limits. Passwords are read once, when the file is loaded, and never written anywhere.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace qnexporter {

struct Auth {
    std::string name;
    std::string username;  // empty: the exporter's own Kerberos ticket
    std::string password;  // resolved at load time from password_file or password_env
    std::string passwordEnv;
    std::string scheme;  // negotiate | kerberos | ntlm | basic; informs the store's AuthScheme
    bool ssl = false;
    std::uint16_t port = 5985;
    std::string wmiNamespace;
};

// One generic WMI reading: a class (or a WQL query), a property, and either named instances or the first one.
struct WmiCounter {
    std::string metric;  // qnsnwsm_wmi_<metric>
    std::string help;
    std::string className;
    std::string property;
    std::vector<std::string> instances;  // empty: the first instance, no label
    std::string instanceLabel = "instance";
};

struct Module {
    std::string name;
    std::string auth;
    std::vector<std::string> collectors;
    std::vector<std::string> cpus{"_Total"};
    std::vector<std::string> services;
    bool allServices = false;
    std::vector<std::string> processes;
    std::vector<std::string> drives;
    bool allDrives = true;  // no list given: every local fixed drive
    std::vector<std::string> pools;
    std::vector<std::string> queues;
    std::vector<std::string> nics;
    std::vector<WmiCounter> counters;
};

struct ExporterSettings {
    std::chrono::milliseconds defaultTimeout{10000};  // when Prometheus sends no scrape timeout
    std::chrono::milliseconds timeoutMargin{500};     // left for the answer to travel back
    std::size_t maxSessions = 1000;
    std::chrono::seconds sessionIdle{600};
    std::size_t maxConnections = 64;  // HTTP requests served at once (one thread each)
    std::string moduleStore;  // the store the module settings are copied from; empty: the machine's store
    std::chrono::milliseconds connectTimeout{5000};    // the module's ConnectTimeoutMs for the exporter
    std::chrono::milliseconds operationTimeout{8000};  // the module's OperationTimeoutMs for the exporter
    std::string authScheme;                            // the one AuthScheme every auth agrees on; empty: keep
};

struct ExporterConfig {
    ExporterSettings settings;
    std::map<std::string, Auth> auths;
    std::map<std::string, Module> modules;
    std::set<std::string> passwordVariables;  // read once; the caller clears them from the environment
};

// Reads and validates `path`. On failure returns nullopt and `error` says what is wrong and where. On a
// reload, `previous` supplies the passwords of variables already wiped (same auth, same variable).
std::optional<ExporterConfig> LoadConfig(const std::string& path, std::string& error,
                                         const ExporterConfig* previous = nullptr);

}  // namespace qnexporter
