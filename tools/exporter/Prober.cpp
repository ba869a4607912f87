#include "Prober.h"

#include <condition_variable>
#include <iostream>
#include <thread>
#include <vector>

#include "Collectors.h"
#include "ConnectHint.h"
#include "MetricText.h"

namespace qnexporter {

namespace {

using Clock = std::chrono::steady_clock;

double Seconds(Clock::duration d) {
    return std::chrono::duration<double>(d).count();
}

// What the worker found so far; the request thread reads it at the deadline.
struct ProbeRun {
    std::mutex mutex;
    std::condition_variable changed;
    bool finished = false;
    bool loggedIn = false;
    bool answered = false;
    std::map<std::string, std::pair<bool, double>> collectors;  // success, seconds
    std::string metricsText;
    std::atomic<bool> abandoned{false};
};

struct WorkOrder {
    std::string key;
    std::string target;  // for the log
    Module module;
    Auth auth;
    qnhost::ConnectSettings settings;
};

void Log(const std::string& line) {
    std::cerr << line << std::endl;
}

bool IsLoginRefusal(const std::string& error) {
    return error.find("0x80070005") != std::string::npos;
}

// Runs on its own thread, holding the session's busy flag until the last call returns.
void Work(std::shared_ptr<ProbeRun> run, std::shared_ptr<KeptSession> session, BusyLease lease,
          WorkOrder order, SessionPool& sessions, ExporterMetrics& metrics) {
    if (!session->connected) {
        // One login per scrape at most; a refused one is not kept, so the next scrape tries again once.
        std::string error;
        if (!session->initialized) {
            // One at a time: a handle's first creation also sets up libxml2's global state, which is not
            // safe to do from two threads at once.
            static std::mutex initializing;
            std::lock_guard<std::mutex> serial(initializing);
            session->initialized = session->module.Initialize("qnsnwsm-exporter", "");
        }
        const bool ok = session->initialized && session->module.Connect(order.settings, error) == 0;
        if (!ok) {
            if (IsLoginRefusal(error)) metrics.LoginFailed(order.auth.name);
            const std::string hint = session->initialized ? qnhost::ConnectHint(error, order.settings) : "";
            Log("probe " + order.target + " module " + order.module.name + ": connecting failed: " +
                (session->initialized ? error : "the module could not be initialised") +
                (hint.empty() ? "" : " (hint: " + hint + ")"));
            sessions.Discard(order.key, session);
            std::lock_guard<std::mutex> guard(run->mutex);
            run->finished = true;
            run->changed.notify_all();
            return;
        }
        session->connected = true;
        std::lock_guard<std::mutex> guard(run->mutex);
        run->loggedIn = run->answered = true;
    } else {
        std::lock_guard<std::mutex> guard(run->mutex);
        run->loggedIn = true;
    }
    bool anyAnswered = false;
    bool anyFailed = false;
    for (const std::string& collector : order.module.collectors) {
        if (run->abandoned) break;
        MetricSet metrics;
        const auto start = Clock::now();
        const CollectorOutcome outcome =
            RunCollector(collector, order.module, session->module.Handle(), metrics, run->abandoned);
        anyAnswered = anyAnswered || outcome.answered;
        anyFailed = anyFailed || outcome.callFailed;
        if (!outcome.success)
            Log("probe " + order.target + " module " + order.module.name + " collector " + collector + ": " +
                outcome.firstError);
        std::lock_guard<std::mutex> guard(run->mutex);
        run->collectors[collector] = {outcome.success, Seconds(Clock::now() - start)};
        run->metricsText += metrics.Text();
        run->answered = run->answered || outcome.answered;
    }
    if (!anyAnswered && anyFailed) {
        // Not one call came back: the session is broken; the next scrape logs in afresh.
        session->module.Disconnect();
        session->connected = false;
        sessions.Discard(order.key, session);
    } else {
        sessions.Touch(order.key);
    }
    lease.Release();
    std::lock_guard<std::mutex> guard(run->mutex);
    run->finished = true;
    run->changed.notify_all();
}

std::string Quoted(const std::string& text) {
    return "'" + text + "'";
}

}  // namespace

std::optional<std::pair<std::string, std::uint16_t>> ParseTarget(const std::string& target,
                                                                 std::uint16_t defaultPort) {
    std::string host = target;
    std::string port;
    if (!target.empty() && target.front() == '[') {
        const std::size_t close = target.find(']');
        if (close == std::string::npos) return std::nullopt;
        host = target.substr(1, close - 1);
        const std::string rest = target.substr(close + 1);
        if (!rest.empty() && rest.front() != ':') return std::nullopt;
        if (!rest.empty()) port = rest.substr(1);
        if (host.find_first_not_of("0123456789abcdefABCDEF:.") != std::string::npos) return std::nullopt;
    } else {
        const std::size_t colon = target.find(':');
        if (colon != std::string::npos) {
            host = target.substr(0, colon);
            port = target.substr(colon + 1);
            if (port.empty()) return std::nullopt;
        }
        if (host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") !=
            std::string::npos)
            return std::nullopt;
    }
    if (host.empty() || host.size() > 253) return std::nullopt;
    std::uint16_t number = defaultPort;
    if (!port.empty()) {
        if (port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
        const unsigned long value = std::stoul(port);
        if (value == 0 || value > 65535) return std::nullopt;
        number = static_cast<std::uint16_t>(value);
    }
    return std::make_pair(host, number);
}

Prober::Prober(std::shared_ptr<const ExporterConfig> config, ExporterMetrics& metrics)
    : config_(std::move(config)),
      metrics_(metrics),
      sessions_(config_->settings.maxSessions, config_->settings.sessionIdle) {}

HttpAnswer Prober::Probe(const std::map<std::string, std::string>& parameters,
                         std::optional<double> scrapeTimeout) {
    const auto start = Clock::now();
    const auto parameter = [&](const char* name) {
        const auto found = parameters.find(name);
        return found == parameters.end() ? std::string() : found->second;
    };
    const auto bad = [](std::string text) { return HttpAnswer{400, std::move(text) + "\n"}; };
    const std::string target = parameter("target");
    const std::string moduleName = parameter("module");
    if (target.empty()) return bad("the target parameter is missing: /probe?target=HOST[:PORT]&module=NAME");
    if (moduleName.empty())
        return bad("the module parameter is missing: /probe?target=HOST[:PORT]&module=NAME");
    const std::shared_ptr<const ExporterConfig> config = Config();
    const auto module = config->modules.find(moduleName);
    if (module == config->modules.end()) {
        std::string known;
        for (const auto& [name, m] : config->modules) known += (known.empty() ? "" : ", ") + name;
        return bad("unknown module " + Quoted(moduleName) + " (configured: " + known + ")");
    }
    const std::string authName = parameter("auth").empty() ? module->second.auth : parameter("auth");
    const auto auth = config->auths.find(authName);
    if (auth == config->auths.end()) return bad("unknown auth " + Quoted(authName));
    const auto hostPort = ParseTarget(target, auth->second.port);
    if (!hostPort) return bad("the target " + Quoted(target) + " is not HOST, HOST:PORT or [IPv6]:PORT");

    // The time Prometheus waits, less a margin for the answer to travel; never less than half of it.
    const double allowed = scrapeTimeout && *scrapeTimeout > 0
                               ? *scrapeTimeout
                               : std::chrono::duration<double>(config->settings.defaultTimeout).count();
    const double margin = std::chrono::duration<double>(config->settings.timeoutMargin).count();
    const double budget = std::max(allowed - margin, allowed / 2);
    const auto deadline =
        start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(budget));

    WorkOrder order;
    order.module = module->second;
    order.auth = auth->second;
    order.target = target;
    qnhost::ConnectionOptions options;
    options.computer = hostPort->first;
    options.user = auth->second.username;
    options.port = hostPort->second;
    options.ssl = auth->second.ssl;
    options.wmiNamespace = NamespaceFor(module->second, auth->second);
    order.settings = qnhost::SettingsFrom(options, auth->second.password);
    order.key = authName + '\n' + options.wmiNamespace + '\n' + hostPort->first + ':' +
                std::to_string(hostPort->second);

    auto run = std::make_shared<ProbeRun>();
    std::string refusal;
    if (auto session = sessions_.Acquire(order.key)) {
        if (session->busy.TryTakeUntil(deadline)) {
            ++*workers_;
            std::thread([run, session, lease = BusyLease(session->busy), order = std::move(order), this,
                         workers = workers_]() mutable {
                Work(run, session, std::move(lease), std::move(order), sessions_, metrics_);
                --*workers;
            }).detach();
        } else {
            refusal = "the session is still busy with an earlier call";
        }
    } else {
        refusal = "too many sessions in use (exporter.max_sessions)";
    }
    if (!refusal.empty()) Log("probe " + target + " module " + moduleName + ": " + refusal);

    std::unique_lock<std::mutex> lock(run->mutex);
    if (refusal.empty() && !run->changed.wait_until(lock, deadline, [&] { return run->finished; })) {
        run->abandoned = true;
        metrics_.CallAbandoned();
        Log("probe " + target + " module " + moduleName +
            ": the scrape timeout passed; answering with what is there");
    }
    const bool up = run->loggedIn && run->answered;
    MetricSet head;
    head.Add("qnsnwsm_up", MetricType::Gauge, "1 when the computer answered and the login worked, else 0.",
             {}, up ? 1 : 0);
    for (const std::string& collector : module->second.collectors) {
        const auto found = run->collectors.find(collector);
        const bool success = found != run->collectors.end() && found->second.first;
        head.Add("qnsnwsm_collector_success", MetricType::Gauge,
                 "1 when every call of the collector completed.", {{"collector", collector}},
                 success ? 1 : 0);
        if (found != run->collectors.end())
            head.Add("qnsnwsm_collector_duration_seconds", MetricType::Gauge, "Time the collector took.",
                     {{"collector", collector}}, found->second.second);
    }
    const double took = Seconds(Clock::now() - start);
    head.Add("qnsnwsm_probe_duration_seconds", MetricType::Gauge, "Time the whole probe took.", {}, took);
    metrics_.ProbeDone(moduleName, up, took);
    return {200, head.Text() + run->metricsText, kExpositionContentType};
}

void Prober::Reload(std::shared_ptr<const ExporterConfig> config) {
    {
        std::lock_guard<std::mutex> lock(configMutex_);
        auto merged = std::make_shared<ExporterConfig>(*config);
        merged->settings = config_->settings;
        config_ = std::move(merged);
    }
    sessions_.CloseAll();
}

void Prober::WaitForWorkers(std::chrono::milliseconds limit) const {
    const auto until = Clock::now() + limit;
    while (*workers_ > 0 && Clock::now() < until) std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace qnexporter
