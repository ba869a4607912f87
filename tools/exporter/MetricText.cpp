#include "MetricText.h"

#include <charconv>
#include <cmath>

namespace qnexporter {

namespace {

const char* TypeName(MetricType type) {
    switch (type) {
        case MetricType::Counter:
            return "counter";
        case MetricType::Summary:
            return "summary";
        case MetricType::Gauge:
            break;
    }
    return "gauge";
}

// Label values escape \, " and line feeds; help texts escape \ and line feeds.
std::string Escape(const std::string& text, bool quotes) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        if (c == '\\')
            out += "\\\\";
        else if (c == '\n')
            out += "\\n";
        else if (c == '"' && quotes)
            out += "\\\"";
        else
            out += c;
    }
    return out;
}

std::string Number(double value) {
    if (std::isnan(value)) return "NaN";
    if (std::isinf(value)) return value > 0 ? "+Inf" : "-Inf";
    char buffer[32];
    const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);  // shortest exact form
    return std::string(buffer, written.ptr);
}

}  // namespace

void MetricSet::Add(const std::string& name, MetricType type, const std::string& help, Labels labels,
                    double value) {
    AddTo(name, type, help, name, std::move(labels), value);
}

void MetricSet::AddTo(const std::string& family, MetricType type, const std::string& help,
                      const std::string& sampleName, Labels labels, double value) {
    for (Family& existing : families_) {
        if (existing.name != family) continue;
        // A repeated series (a name listed twice) would make the whole scrape invalid: the first one stays.
        for (const Sample& sample : existing.samples)
            if (sample.name == sampleName && sample.labels == labels) return;
        existing.samples.push_back({sampleName, std::move(labels), value});
        return;
    }
    families_.push_back({family, type, help, {{sampleName, std::move(labels), value}}});
}

std::string MetricSet::Text() const {
    std::string out;
    for (const Family& family : families_) {
        out += "# HELP " + family.name + " " + Escape(family.help, false) + "\n";
        out += "# TYPE " + family.name + " " + TypeName(family.type) + "\n";
        for (const Sample& sample : family.samples) {
            out += sample.name;
            if (!sample.labels.empty()) {
                out += '{';
                for (std::size_t i = 0; i < sample.labels.size(); ++i) {
                    if (i) out += ',';
                    out += sample.labels[i].first + "=\"" + Escape(sample.labels[i].second, true) + '"';
                }
                out += '}';
            }
            out += ' ' + Number(sample.value) + '\n';
        }
    }
    return out;
}

}  // namespace qnexporter
