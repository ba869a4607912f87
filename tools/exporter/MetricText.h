// Metrics gathered by family and written in the Prometheus text exposition format, version 0.0.4.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace qnexporter {

using Labels = std::vector<std::pair<std::string, std::string>>;

enum class MetricType { Gauge, Counter, Summary };

class MetricSet {
  public:
    // Declares a family once; later samples of the same name join it, whatever order they arrive in.
    void Add(const std::string& name, MetricType type, const std::string& help, Labels labels, double value);
    // A sample whose name differs from its family's (a summary's _sum and _count).
    void AddTo(const std::string& family, MetricType type, const std::string& help,
               const std::string& sampleName, Labels labels, double value);
    std::string Text() const;

  private:
    struct Sample {
        std::string name;
        Labels labels;
        double value;
    };
    struct Family {
        std::string name;
        MetricType type;
        std::string help;
        std::vector<Sample> samples;
    };
    std::vector<Family> families_;
};

inline constexpr const char* kExpositionContentType = "text/plain; version=0.0.4; charset=utf-8";

}  // namespace qnexporter
