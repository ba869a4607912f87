#include "Collectors.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <map>

#include "Checks.h"

namespace qnexporter {

namespace {

constexpr double kMiB = 1024.0 * 1024.0;

// One collector run: calls exports through the host library and keeps score.
class Run {
  public:
    Run(qnhost::ModuleHandle handle, MetricSet& out, const std::atomic<bool>& abandoned)
        : handle_(handle), out_(out), abandoned_(abandoned) {}

    // One export call; nullptr (and the collector fails) when it failed or the probe gave up.
    const qnhost::CheckResult* Call(const char* check, std::vector<std::string> args = {}) {
        if (abandoned_) {
            Failed("the scrape timeout passed");
            return nullptr;
        }
        qnhost::CheckParameters parameters;
        parameters.sleepMs = 0;  // the processor counter is already a rate: one reading is enough
        parameters.durationMs = 0;
        last_ = qnhost::FindCheck(check)->run(handle_, parameters, args);
        const std::string what = std::string(check) + (args.empty() ? "" : " " + args[0]) + ": ";
        if (last_.code != 0) {
            outcome_.callFailed = true;
            Failed(what + (last_.error.empty() ? "not found" : last_.error));
            return nullptr;
        }
        // A completed reading may still carry a text: a state ("Process not found" with running 0) is an
        // answer, but a list it names a problem with is incomplete.
        if (!last_.error.empty() && !last_.columns.empty()) Failed(what + last_.error);
        outcome_.answered = true;
        return &last_;
    }
    void Failed(const std::string& error) {
        if (outcome_.success) outcome_.firstError = error;
        outcome_.success = false;
    }
    void Gauge(const std::string& name, const std::string& help, Labels labels, double value) {
        out_.Add(name, MetricType::Gauge, help, std::move(labels), value);
    }
    CollectorOutcome Outcome() const { return outcome_; }

  private:
    qnhost::ModuleHandle handle_;
    MetricSet& out_;
    const std::atomic<bool>& abandoned_;
    qnhost::CheckResult last_;
    CollectorOutcome outcome_;
};

void Cpu(Run& run, const Module& module) {
    for (const std::string& cpu : module.cpus)
        if (const auto* r = run.Call("cpu", {cpu}))
            run.Gauge("qnsnwsm_cpu_usage_ratio",
                      "Processor time in use, 0 to 1 (PercentProcessorTime / 100).", {{"cpu", cpu}},
                      r->NumberOf("usagePercent") / 100.0);
}

void Memory(Run& run, const Module&) {
    const auto* r = run.Call("memory");
    if (!r) return;
    run.Gauge("qnsnwsm_memory_available_bytes", "Available physical memory (MiB resolution).", {},
              r->NumberOf("availableMB") * kMiB);
    run.Gauge("qnsnwsm_memory_committed_bytes", "Committed virtual memory (MiB resolution).", {},
              r->NumberOf("committedMB") * kMiB);
    run.Gauge("qnsnwsm_memory_pages_per_second", "Hard page faults per second.", {},
              r->NumberOf("pagesPerSec"));
}

void LogicalDisk(Run& run, const Module& module) {
    std::vector<std::string> drives = module.drives;
    if (module.allDrives) {
        // Names only: each drive's numbers come from its own single-drive reading.
        const auto* list = run.Call("instances", {"select * from Win32_LogicalDisk where DriveType=3"});
        if (!list) return;
        for (const auto& row : list->rows)
            if (row.size() == 1 && !row[0].empty()) drives.push_back(row[0]);
    }
    for (const std::string& drive : drives) {
        const auto* r = run.Call("disk-space", {drive});
        if (!r) continue;
        run.Gauge("qnsnwsm_logical_disk_free_bytes", "Free space on the volume (MiB resolution).",
                  {{"volume", drive}}, r->NumberOf("freeMB") * kMiB);
        run.Gauge("qnsnwsm_logical_disk_size_bytes", "Size of the volume (MiB resolution).",
                  {{"volume", drive}}, r->NumberOf("sizeMB") * kMiB);
    }
}

void PhysicalDisk(Run& run, const Module&) {
    if (const auto* r = run.Call("disks"))
        run.Gauge("qnsnwsm_physical_disks_healthy",
                  "1 when every physical disk reports the status OK, else 0.", {},
                  r->NumberOf("allDisksOk") ? 1 : 0);
}

const char* const kServiceInfoHelp = "Service facts; always 1.";

void Service(Run& run, const Module& module) {
    if (module.allServices) {
        // The joined list could be forged by a service's own name: it labels info series, never a state.
        if (const auto* list = run.Call("services")) {
            if (list->irregularRows > 0)
                run.Failed("the service list has " + std::to_string(list->irregularRows) +
                           " malformed entries");
            for (const auto& row : list->rows)
                if (row.size() == 2 && !row[0].empty())
                    run.Gauge("qnsnwsm_service_info", kServiceInfoHelp,
                              {{"name", row[0]}, {"display_name", row[1]}}, 1);
        }
    }
    for (const std::string& service : module.services) {
        const auto* r = run.Call("service", {service});
        if (!r) continue;
        const bool installed = r->NumberOf("installed") != 0;
        const std::string state = r->TextOf("state");
        run.Gauge("qnsnwsm_service_running", "1 when the service is installed and running, else 0.",
                  {{"name", service}}, installed && state == "Running" ? 1 : 0);
        if (installed)
            run.Gauge("qnsnwsm_service_info", kServiceInfoHelp,
                      {{"name", service},
                       {"display_name", r->TextOf("displayName")},
                       {"start_mode", r->TextOf("startMode")},
                       {"state", state}},
                      1);
    }
}

void Process(Run& run, const Module& module) {
    for (const std::string& process : module.processes)
        if (const auto* r = run.Call("process", {process}))
            run.Gauge("qnsnwsm_process_running", "1 when at least one process of that name runs, else 0.",
                      {{"name", process}}, r->NumberOf("running") ? 1 : 0);
}

void Pool(Run& run, const Module& module) {
    for (const std::string& pool : module.pools)
        if (const auto* r = run.Call("pool", {pool}))
            run.Gauge("qnsnwsm_iis_pool_started", "1 when the IIS application pool is started, else 0.",
                      {{"pool", pool}}, r->NumberOf("started") ? 1 : 0);
}

void Queue(Run& run, const Module& module) {
    for (const std::string& queue : module.queues) {
        const auto* r = run.Call("queue", {queue});
        if (!r) continue;
        if (!r->NumberOf("found")) {
            run.Failed("queue " + queue + ": not found");
            continue;
        }
        run.Gauge("qnsnwsm_msmq_queue_messages", "Messages in the MSMQ queue.", {{"queue", queue}},
                  r->NumberOf("messages"));
        run.Gauge("qnsnwsm_msmq_queue_bytes", "Size of the messages in the MSMQ queue (KiB resolution).",
                  {{"queue", queue}}, r->NumberOf("kilobytes") * 1024.0);
    }
}

void Nic(Run& run, const Module& module) {
    for (const std::string& nic : module.nics) {
        const auto* r = run.Call("nic", {nic});
        if (!r) continue;
        if (!r->NumberOf("found")) {
            run.Failed("nic " + nic + ": not found");
            continue;
        }
        run.Gauge("qnsnwsm_nic_bandwidth_bytes_per_second", "Current bandwidth of the network interface.",
                  {{"nic", nic}}, r->NumberOf("bandwidthMbit") * 1e6 / 8);
        run.Gauge("qnsnwsm_nic_traffic_bytes_per_second", "Bytes sent and received per second.",
                  {{"nic", nic}}, r->NumberOf("bytesPerSec"));
    }
}

void Sessions(Run& run, const Module&) {
    const auto* r = run.Call("sessions");
    if (!r) return;
    const char* help = "Remote desktop sessions by state.";
    run.Gauge("qnsnwsm_terminal_sessions", help, {{"state", "active"}}, r->NumberOf("active"));
    run.Gauge("qnsnwsm_terminal_sessions", help, {{"state", "inactive"}}, r->NumberOf("inactive"));
}

void Wmi(Run& run, const Module& module) {
    for (const WmiCounter& counter : module.counters) {
        const std::vector<std::string> instances =
            counter.instances.empty() ? std::vector<std::string>{""} : counter.instances;
        for (const std::string& instance : instances) {
            std::vector<std::string> args{counter.className, counter.property};
            if (!instance.empty()) args.push_back(instance);
            const auto* r = run.Call("counter", args);
            if (!r) continue;
            const std::string value = r->TextOf("value");
            char* end = nullptr;
            const double number = std::strtod(value.c_str(), &end);
            if (value.empty() || *end != '\0') {
                run.Failed(counter.className + "." + counter.property + ": '" + value + "' is not a number");
                continue;
            }
            Labels labels;
            if (!instance.empty()) labels.push_back({counter.instanceLabel, instance});
            run.Gauge("qnsnwsm_wmi_" + counter.metric, counter.help, std::move(labels), number);
        }
    }
}

const std::map<std::string, std::function<void(Run&, const Module&)>>& Table() {
    static const std::map<std::string, std::function<void(Run&, const Module&)>> table{
        {"cpu", Cpu},
        {"memory", Memory},
        {"logical_disk", LogicalDisk},
        {"physical_disk", PhysicalDisk},
        {"service", Service},
        {"process", Process},
        {"pool", Pool},
        {"queue", Queue},
        {"nic", Nic},
        {"sessions", Sessions},
        {"wmi", Wmi}};
    return table;
}

}  // namespace

CollectorOutcome RunCollector(const std::string& collector, const Module& module, qnhost::ModuleHandle handle,
                              MetricSet& out, const std::atomic<bool>& abandoned) {
    Run run(handle, out, abandoned);
    Table().at(collector)(run, module);
    return run.Outcome();
}

const std::vector<std::string>& KnownCollectors() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> keys;
        for (const auto& [name, run] : Table()) keys.push_back(name);
        return keys;
    }();
    return names;
}

std::string NamespaceFor(const Module& module, const Auth& auth) {
    const bool pools =
        std::find(module.collectors.begin(), module.collectors.end(), "pool") != module.collectors.end();
    if (pools && auth.wmiNamespace.empty()) return "root/WebAdministration";
    return auth.wmiNamespace;
}

}  // namespace qnexporter
