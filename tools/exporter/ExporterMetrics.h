// The exporter's own metrics (/metrics): probes by module and result, probe durations, kept sessions, login
// failures, and the process' CPU, memory and file descriptors.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace qnexporter {

class SessionPool;

class ExporterMetrics {
  public:
    void ProbeDone(const std::string& module, bool success, double seconds);
    void LoginFailed(const std::string& auth);
    void CallAbandoned();
    std::string Text(const SessionPool& sessions) const;

  private:
    struct Durations {
        double sum = 0;
        double count = 0;
    };
    mutable std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, double> probes_;  // (module, result)
    std::map<std::string, Durations> durations_;
    std::map<std::string, double> loginFailures_;
    double abandoned_ = 0;
};

}  // namespace qnexporter
