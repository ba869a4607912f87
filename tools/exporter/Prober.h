// One /probe request: finds or opens the kept session of the target, runs the module's collectors on a worker
// and answers by the deadline with what it has. A module call cannot be cancelled: one that outlives the
// deadline finishes on its worker, which keeps the session locked until then, so a dead computer holds at
// most one worker per kept session.
#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "ExporterConfig.h"
#include "ExporterMetrics.h"
#include "SessionPool.h"

namespace qnexporter {

struct HttpAnswer {
    unsigned status = 200;
    std::string body;
    std::string contentType = "text/plain; charset=utf-8";
};

class Prober {
  public:
    Prober(std::shared_ptr<const ExporterConfig> config, ExporterMetrics& metrics);

    // `parameters`: the query (target, module, auth); `scrapeTimeout`: Prometheus' header, when sent.
    HttpAnswer Probe(const std::map<std::string, std::string>& parameters,
                     std::optional<double> scrapeTimeout);

    SessionPool& Sessions() { return sessions_; }
    // The configuration in force; a reload swaps it while probes that began under the old one finish.
    std::shared_ptr<const ExporterConfig> Config() const {
        std::lock_guard<std::mutex> lock(configMutex_);
        return config_;
    }
    // Takes `config`'s auths and modules (its exporter settings apply from the next start) and closes the
    // kept sessions, whose accounts may have changed.
    void Reload(std::shared_ptr<const ExporterConfig> config);
    // Waits up to `limit` for the workers still finishing module calls.
    void WaitForWorkers(std::chrono::milliseconds limit) const;

  private:
    mutable std::mutex configMutex_;
    std::shared_ptr<const ExporterConfig> config_;
    ExporterMetrics& metrics_;
    SessionPool sessions_;
    std::shared_ptr<std::atomic<int>> workers_ = std::make_shared<std::atomic<int>>(0);
};

// "host", "host:port" or "[v6]:port" split into host and port; nullopt when it is not a computer name.
std::optional<std::pair<std::string, std::uint16_t>> ParseTarget(const std::string& target,
                                                                 std::uint16_t defaultPort);

}  // namespace qnexporter
