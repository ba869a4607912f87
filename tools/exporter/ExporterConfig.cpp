#include "ExporterConfig.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <set>
#include <stdexcept>

#include "Collectors.h"
#include "Password.h"

namespace qnexporter {

namespace {

// A configuration mistake, with the place in the file it was found at.
struct ConfigError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

std::string Where(const YAML::Node& node) {
    const YAML::Mark mark = node.Mark();
    return mark.is_null() ? "" : " (line " + std::to_string(mark.line + 1) + ")";
}

[[noreturn]] void Fail(const std::string& what, const YAML::Node& node) {
    throw ConfigError(what + Where(node));
}

void CheckKeys(const YAML::Node& map, const std::string& context,
               std::initializer_list<const char*> allowed) {
    if (!map.IsMap()) Fail(context + " must be a mapping", map);
    for (const auto& item : map) {
        const std::string key = item.first.as<std::string>();
        if (std::none_of(allowed.begin(), allowed.end(), [&](const char* a) { return key == a; })) {
            std::string list;
            for (const char* a : allowed) list += std::string(list.empty() ? "" : ", ") + a;
            Fail(context + ": unknown key '" + key + "' (known: " + list + ")", item.first);
        }
    }
}

std::string Text(const YAML::Node& node, const std::string& context) {
    if (!node.IsScalar()) Fail(context + " must be a text", node);
    return node.as<std::string>();
}

std::vector<std::string> TextList(const YAML::Node& node, const std::string& context) {
    if (!node.IsSequence()) Fail(context + " must be a list", node);
    std::vector<std::string> texts;
    for (const auto& item : node) {
        texts.push_back(Text(item, context + " entry"));
        if (texts.back().empty()) Fail(context + " holds an empty entry", item);
    }
    return texts;
}

// "all" or a list; returns true for "all".
bool ListOrAll(const YAML::Node& node, const std::string& context, std::vector<std::string>& list) {
    if (node.IsScalar() && node.as<std::string>() == "all") return true;
    list = TextList(node, context + " (a list, or all)");
    return false;
}

// "10s", "500ms", "2m" or a plain number of seconds.
std::chrono::milliseconds Duration(const YAML::Node& node, const std::string& context) {
    static const std::regex form(R"(^\s*([0-9]+(?:\.[0-9]+)?)\s*(ms|s|m)?\s*$)");
    std::smatch match;
    const std::string text = Text(node, context);
    if (!std::regex_match(text, match, form))
        Fail(context + ": '" + text + "' is not a duration such as 10s, 500ms or 2m", node);
    const double value = std::stod(match[1]);
    const double factor = match[2] == "ms" ? 1 : match[2] == "m" ? 60000 : 1000;
    const auto ms = static_cast<long long>(value * factor);
    if (ms <= 0 || ms > 24LL * 3600 * 1000) Fail(context + ": '" + text + "' is out of range", node);
    return std::chrono::milliseconds(ms);
}

std::size_t Count(const YAML::Node& node, const std::string& context, std::size_t low, std::size_t high) {
    const std::string text = Text(node, context);
    char* end = nullptr;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || value < low || value > high)
        Fail(context + " must be a whole number from " + std::to_string(low) + " to " + std::to_string(high),
             node);
    return static_cast<std::size_t>(value);
}

// The password through the host library's one reader (file or variable; never the terminal here).
std::string ReadPassword(const YAML::Node& auth, const std::string& context, ExporterConfig& config,
                         const Auth* previous) {
    if (auth["password_file"] && auth["password_env"])
        Fail(context + ": give password_file or password_env, not both", auth);
    qnhost::ConnectionOptions options;
    if (auth["username"]) options.user = Text(auth["username"], context + ".username");
    if (auth["password_file"]) options.passwordFile = Text(auth["password_file"], context + ".password_file");
    if (auth["password_env"]) options.passwordEnv = Text(auth["password_env"], context + ".password_env");
    if (options.user.empty()) return {};
    if (options.passwordFile.empty() && options.passwordEnv.empty())
        Fail(
            context + ": a username needs password_file or password_env (passwords never stand in this file)",
            auth);
    // The variable was wiped after the first reading: a reload keeps the password it gave, for the same auth.
    if (!options.passwordEnv.empty() && std::getenv(options.passwordEnv.c_str()) == nullptr && previous &&
        previous->passwordEnv == options.passwordEnv)
        return previous->password;
    std::string error;
    const std::optional<std::string> password =
        qnhost::ResolvePassword(options, error, qnhost::EnvironmentPassword::kKeep);
    if (!password) Fail(context + ": " + error, auth);
    if (!options.passwordEnv.empty()) config.passwordVariables.insert(options.passwordEnv);
    return *password;
}

Auth ParseAuth(const std::string& name, const YAML::Node& node, ExporterConfig& config,
               const ExporterConfig* previous) {
    const std::string context = "auths." + name;
    CheckKeys(node, context,
              {"username", "password_file", "password_env", "scheme", "ssl", "port", "namespace"});
    Auth auth;
    auth.name = name;
    if (node["username"]) auth.username = Text(node["username"], context + ".username");
    const auto earlier =
        previous ? previous->auths.find(name) : std::map<std::string, Auth>::const_iterator();
    auth.password = ReadPassword(node, context, config,
                                 previous && earlier != previous->auths.end() ? &earlier->second : nullptr);
    if (node["password_env"]) auth.passwordEnv = node["password_env"].as<std::string>();
    if (node["scheme"]) {
        auth.scheme = Text(node["scheme"], context + ".scheme");
        std::transform(auth.scheme.begin(), auth.scheme.end(), auth.scheme.begin(), ::tolower);
        if (auth.scheme != "negotiate" && auth.scheme != "kerberos" && auth.scheme != "ntlm" &&
            auth.scheme != "basic")
            Fail(context + ".scheme must be negotiate, kerberos, ntlm or basic", node["scheme"]);
    }
    if (node["ssl"]) {
        const std::string ssl = Text(node["ssl"], context + ".ssl");
        if (ssl != "true" && ssl != "false") Fail(context + ".ssl must be true or false", node["ssl"]);
        auth.ssl = ssl == "true";
    }
    auth.port = static_cast<std::uint16_t>(auth.ssl ? 5986 : 5985);
    if (node["port"])
        auth.port = static_cast<std::uint16_t>(Count(node["port"], context + ".port", 1, 65535));
    if (node["namespace"]) auth.wmiNamespace = Text(node["namespace"], context + ".namespace");
    return auth;
}

WmiCounter ParseCounter(const YAML::Node& node, const std::string& context) {
    CheckKeys(node, context, {"metric", "help", "class", "property", "instances", "instance_label"});
    for (const char* required : {"metric", "class", "property"})
        if (!node[required]) Fail(context + " needs '" + required + "'", node);
    WmiCounter counter;
    counter.metric = Text(node["metric"], context + ".metric");
    static const std::regex metricName("^[a-z_][a-z0-9_]*$");
    static const std::regex labelName("^[a-zA-Z_][a-zA-Z0-9_]*$");
    if (!std::regex_match(counter.metric, metricName))
        Fail(context + ".metric must be lower-case letters, digits and _ (it becomes qnsnwsm_wmi_<metric>)",
             node["metric"]);
    counter.className = Text(node["class"], context + ".class");
    counter.property = Text(node["property"], context + ".property");
    counter.help = node["help"] ? Text(node["help"], context + ".help")
                                : counter.className + " " + counter.property + " (WMI)";
    if (node["instances"]) counter.instances = TextList(node["instances"], context + ".instances");
    if (node["instance_label"]) {
        counter.instanceLabel = Text(node["instance_label"], context + ".instance_label");
        if (!std::regex_match(counter.instanceLabel, labelName) || counter.instanceLabel.rfind("__", 0) == 0)
            Fail(context + ".instance_label is not a valid label name", node["instance_label"]);
    }
    return counter;
}

Module ParseModule(const std::string& name, const YAML::Node& node, const ExporterConfig& config) {
    const std::string context = "modules." + name;
    CheckKeys(node, context,
              {"auth", "collectors", "cpus", "services", "processes", "drives", "pools", "queues", "nics",
               "counters"});
    Module module;
    module.name = name;
    if (!node["auth"]) Fail(context + " needs 'auth' (one of the names under auths)", node);
    module.auth = Text(node["auth"], context + ".auth");
    if (!config.auths.count(module.auth))
        Fail(context + ".auth names an unknown auth '" + module.auth + "'", node);
    if (!node["collectors"]) Fail(context + " needs 'collectors'", node);
    module.collectors = TextList(node["collectors"], context + ".collectors");
    if (module.collectors.empty())
        Fail(context + ".collectors must name at least one collector", node["collectors"]);
    for (const std::string& collector : module.collectors) {
        const auto& known = KnownCollectors();
        if (std::find(known.begin(), known.end(), collector) == known.end()) {
            std::string list;
            for (const auto& k : known) list += (list.empty() ? "" : ", ") + k;
            Fail(context + ": unknown collector '" + collector + "' (known: " + list + ")",
                 node["collectors"]);
        }
    }
    if (node["cpus"]) module.cpus = TextList(node["cpus"], context + ".cpus");
    if (node["services"])
        module.allServices = ListOrAll(node["services"], context + ".services", module.services);
    if (node["drives"]) module.allDrives = ListOrAll(node["drives"], context + ".drives", module.drives);
    if (node["processes"]) module.processes = TextList(node["processes"], context + ".processes");
    if (node["pools"]) module.pools = TextList(node["pools"], context + ".pools");
    if (node["queues"]) module.queues = TextList(node["queues"], context + ".queues");
    if (node["nics"]) module.nics = TextList(node["nics"], context + ".nics");
    if (node["counters"]) {
        if (!node["counters"].IsSequence()) Fail(context + ".counters must be a list", node["counters"]);
        for (std::size_t i = 0; i < node["counters"].size(); ++i)
            module.counters.push_back(
                ParseCounter(node["counters"][i], context + ".counters[" + std::to_string(i) + "]"));
    }
    const auto uses = [&](const char* collector) {
        return std::find(module.collectors.begin(), module.collectors.end(), collector) !=
               module.collectors.end();
    };
    const std::pair<const char*, bool> needs[] = {{"service", module.services.empty() && !module.allServices},
                                                  {"process", module.processes.empty()},
                                                  {"pool", module.pools.empty()},
                                                  {"queue", module.queues.empty()},
                                                  {"nic", module.nics.empty()},
                                                  {"wmi", module.counters.empty()}};
    if (uses("pool") && module.collectors.size() > 1 && config.auths.at(module.auth).wmiNamespace.empty())
        Fail(context + ": the pool collector reads root/WebAdministration: give it a module of its own",
             node);
    for (const auto& [collector, missing] : needs)
        if (uses(collector) && missing)
            Fail(context + ": the " + collector + " collector needs its list (see the example configuration)",
                 node);
    return module;
}

void ParseSettings(const YAML::Node& node, ExporterSettings& settings) {
    CheckKeys(node, "exporter",
              {"default_timeout", "timeout_margin", "max_sessions", "session_idle", "max_connections",
               "module_store", "connect_timeout", "operation_timeout"});
    if (node["default_timeout"])
        settings.defaultTimeout = Duration(node["default_timeout"], "exporter.default_timeout");
    if (node["timeout_margin"])
        settings.timeoutMargin = Duration(node["timeout_margin"], "exporter.timeout_margin");
    if (node["max_sessions"])
        settings.maxSessions = Count(node["max_sessions"], "exporter.max_sessions", 1, 100000);
    if (node["session_idle"])
        settings.sessionIdle = std::chrono::duration_cast<std::chrono::seconds>(
            Duration(node["session_idle"], "exporter.session_idle"));
    if (node["max_connections"])
        settings.maxConnections = Count(node["max_connections"], "exporter.max_connections", 2, 10000);
    if (node["module_store"]) settings.moduleStore = Text(node["module_store"], "exporter.module_store");
    if (node["connect_timeout"])
        settings.connectTimeout = Duration(node["connect_timeout"], "exporter.connect_timeout");
    if (node["operation_timeout"])
        settings.operationTimeout = Duration(node["operation_timeout"], "exporter.operation_timeout");
}

ExporterConfig Parse(const YAML::Node& root, const ExporterConfig* previous) {
    ExporterConfig config;
    CheckKeys(root, "the configuration", {"exporter", "auths", "modules"});
    if (root["exporter"]) ParseSettings(root["exporter"], config.settings);
    if (!root["auths"] || !root["auths"].IsMap() || root["auths"].size() == 0)
        Fail("the configuration needs 'auths' with at least one entry", root);
    for (const auto& item : root["auths"]) {
        const std::string name = item.first.as<std::string>();
        config.auths[name] = ParseAuth(name, item.second, config, previous);
    }
    std::set<std::string> schemes;
    for (const auto& [name, auth] : config.auths)
        if (!auth.scheme.empty()) schemes.insert(auth.scheme);
    if (schemes.size() > 1)
        Fail(
            "auths name different schemes; the module uses one scheme per process: run one exporter per "
            "scheme",
            root["auths"]);
    if (!schemes.empty()) config.settings.authScheme = *schemes.begin();
    if (!root["modules"] || !root["modules"].IsMap() || root["modules"].size() == 0)
        Fail("the configuration needs 'modules' with at least one entry", root);
    for (const auto& item : root["modules"]) {
        const std::string name = item.first.as<std::string>();
        config.modules[name] = ParseModule(name, item.second, config);
    }
    return config;
}

}  // namespace

std::optional<ExporterConfig> LoadConfig(const std::string& path, std::string& error,
                                         const ExporterConfig* previous) {
    try {
        return Parse(YAML::LoadFile(path), previous);
    } catch (const YAML::BadFile&) {
        error = path + ": cannot read the file";
    } catch (const YAML::Exception& e) {
        error = path + ": not valid YAML: " + e.what();
    } catch (const ConfigError& e) {
        error = path + ": " + e.what();
    }
    return std::nullopt;
}

}  // namespace qnexporter
