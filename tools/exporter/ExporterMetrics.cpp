#include "ExporterMetrics.h"

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "MetricText.h"
#include "SessionPool.h"

#ifndef QNSNWSM_VERSION
#define QNSNWSM_VERSION "unknown"
#endif

namespace qnexporter {

namespace {

std::size_t OpenFileDescriptors() {
    std::size_t count = 0;
    if (DIR* dir = opendir("/proc/self/fd")) {
        while (const dirent* entry = readdir(dir))
            if (entry->d_name[0] != '.') ++count;
        closedir(dir);
    }
    return count > 0 ? count - 1 : 0;  // less the descriptor reading the folder
}

// CPU time, start time and memory from /proc/self/stat (proc(5)).
void AddProcessMetrics(MetricSet& out) {
    std::ifstream statFile("/proc/self/stat");
    std::string stat((std::istreambuf_iterator<char>(statFile)), std::istreambuf_iterator<char>());
    const std::size_t close = stat.rfind(')');
    if (close != std::string::npos) {
        std::istringstream fields(stat.substr(close + 2));
        std::vector<std::string> values;
        for (std::string value; fields >> value;) values.push_back(value);
        // Field numbers of proc(5) less the three before this point (pid, comm, state taken as values[0]).
        const auto field = [&](std::size_t number) { return std::stod(values.at(number - 3)); };
        if (values.size() > 21) {
            const double ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
            const double page = static_cast<double>(sysconf(_SC_PAGESIZE));
            std::ifstream uptimeFile("/proc/stat");
            double boot = 0;
            for (std::string line; std::getline(uptimeFile, line);)
                if (line.rfind("btime ", 0) == 0) boot = std::stod(line.substr(6));
            out.Add("process_cpu_seconds_total", MetricType::Counter,
                    "Total user and system CPU time spent in seconds.", {}, (field(14) + field(15)) / ticks);
            out.Add("process_start_time_seconds", MetricType::Gauge,
                    "Start time of the process since unix epoch in seconds.", {}, boot + field(22) / ticks);
            out.Add("process_virtual_memory_bytes", MetricType::Gauge, "Virtual memory size in bytes.", {},
                    field(23));
            out.Add("process_resident_memory_bytes", MetricType::Gauge, "Resident memory size in bytes.", {},
                    field(24) * page);
        }
    }
    out.Add("process_open_fds", MetricType::Gauge, "Number of open file descriptors.", {},
            static_cast<double>(OpenFileDescriptors()));
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0)
        out.Add("process_max_fds", MetricType::Gauge, "Maximum number of open file descriptors.", {},
                static_cast<double>(limit.rlim_cur));
}

}  // namespace

void ExporterMetrics::ProbeDone(const std::string& module, bool success, double seconds) {
    std::lock_guard<std::mutex> lock(mutex_);
    probes_[{module, success ? "success" : "failure"}] += 1;
    Durations& d = durations_[module];
    d.sum += seconds;
    d.count += 1;
}

void ExporterMetrics::LoginFailed(const std::string& auth) {
    std::lock_guard<std::mutex> lock(mutex_);
    loginFailures_[auth] += 1;
}

void ExporterMetrics::CallAbandoned() {
    std::lock_guard<std::mutex> lock(mutex_);
    abandoned_ += 1;
}

std::string ExporterMetrics::Text(const SessionPool& sessions) const {
    MetricSet out;
    out.Add("qnsnwsm_exporter_build_info", MetricType::Gauge, "The exporter's version; always 1.",
            {{"version", QNSNWSM_VERSION}}, 1);
    {
        std::lock_guard<std::mutex> lock(mutex_);
        for (const auto& [key, count] : probes_)
            out.Add("qnsnwsm_exporter_probes_total", MetricType::Counter,
                    "Probes answered, by module and result.", {{"module", key.first}, {"result", key.second}},
                    count);
        const char* help = "Time the probes took, by module.";
        for (const auto& [module, d] : durations_) {
            out.AddTo("qnsnwsm_exporter_probe_duration_seconds", MetricType::Summary, help,
                      "qnsnwsm_exporter_probe_duration_seconds_sum", {{"module", module}}, d.sum);
            out.AddTo("qnsnwsm_exporter_probe_duration_seconds", MetricType::Summary, help,
                      "qnsnwsm_exporter_probe_duration_seconds_count", {{"module", module}}, d.count);
        }
        for (const auto& [auth, count] : loginFailures_)
            out.Add("qnsnwsm_exporter_login_failures_total", MetricType::Counter,
                    "Logins the computers refused, by auth.", {{"auth", auth}}, count);
        out.Add("qnsnwsm_exporter_abandoned_calls_total", MetricType::Counter,
                "Probes answered before their module call returned (the call finishes in the background).",
                {}, abandoned_);
    }
    out.Add("qnsnwsm_exporter_sessions", MetricType::Gauge, "Module sessions kept between scrapes.", {},
            static_cast<double>(sessions.Size()));
    out.Add("qnsnwsm_exporter_sessions_busy", MetricType::Gauge, "Kept sessions running module calls now.",
            {}, static_cast<double>(sessions.Busy()));
    AddProcessMetrics(out);
    return out.Text();
}

}  // namespace qnexporter
