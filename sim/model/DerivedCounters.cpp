#include "model/DerivedCounters.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <numbers>

#include "model/TextRules.h"

namespace qnsim {

namespace {

constexpr const char* kProcessPerfClass = "Win32_PerfRawData_PerfProc_Process";
constexpr const char* kProcessorPerfClass = "Win32_PerfFormattedData_PerfOS_Processor";
// A FILETIME-like origin so that raw time stamps look like a computer that has been up for a while.
constexpr std::uint64_t kTimeStampOrigin = 133'500'000'000'000'000ULL;

// The value of an integer property; 0 when NULL or beyond what the counters here need.
std::int64_t Number(const Instance& instance, const std::string& property) {
    const std::string text = instance.Text(property);
    std::int64_t value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size() ? value : 0;
}

// Derived perf instances start with every counter at 0, as Windows reports idle counters.
Instance EmptyCounterInstance(const ClassDef& classDef) {
    Instance instance;
    instance.classDef = &classDef;
    instance.values.resize(classDef.properties.size());
    for (std::size_t i = 0; i < classDef.properties.size(); ++i) {
        if (IsIntegerType(classDef.properties[i].type) && !classDef.properties[i].isArray) {
            instance.values[i].isNull = false;
            instance.values[i].texts = {"0"};
        }
    }
    return instance;
}

std::string CounterName(const std::string& processName, std::map<std::string, int>& seen) {
    std::string base = processName;
    if (base.size() > 4 && EqualsIgnoreCaseAscii(base.substr(base.size() - 4), ".exe"))
        base.resize(base.size() - 4);
    const int previous = seen[ToLowerAscii(base)]++;
    return previous == 0 ? base : base + "#" + std::to_string(previous);
}

void DeriveProcessCounters(ComputerData& data, unsigned cpus) {
    const ClassDef* perf = data.schema->FindClass("root/cimv2", kProcessPerfClass);
    const ClassDef* process = data.schema->FindClass("root/cimv2", "Win32_Process");
    if (perf == nullptr || process == nullptr || !data.InstancesOf(perf).empty()) return;
    std::vector<Instance> counters;
    std::map<std::string, int> seen;
    double busy = 0;
    Instance total = EmptyCounterInstance(*perf);
    const auto add = [&](const std::string& property, std::int64_t amount) {
        total.Set(property, std::to_string(Number(total, property) + amount));
    };
    for (const Instance& source : data.InstancesOf(process)) {
        Instance counter = EmptyCounterInstance(*perf);
        const std::int64_t pid = Number(source, "ProcessId");
        counter.Set("Name", pid == 0 ? "Idle" : CounterName(source.Text("Name"), seen));
        counter.Set("IDProcess", std::to_string(pid));
        counter.Set("CreatingProcessID", std::to_string(Number(source, "ParentProcessId")));
        const std::int64_t workingSet = Number(source, "WorkingSetSize");
        const std::map<std::string, std::int64_t> values = {
            {"HandleCount", Number(source, "HandleCount")},
            {"ThreadCount", Number(source, "ThreadCount")},
            {"WorkingSet", workingSet},
            {"WorkingSetPrivate", workingSet * 2 / 5},
            {"WorkingSetPeak", Number(source, "PeakWorkingSetSize") * 1024},
            {"PrivateBytes", Number(source, "PrivatePageCount")},
            {"PageFileBytes", Number(source, "PageFileUsage") * 1024},
            {"PageFileBytesPeak", Number(source, "PeakPageFileUsage") * 1024},
            {"PoolPagedBytes", Number(source, "QuotaPagedPoolUsage") * 1024},
            {"PoolNonpagedBytes", Number(source, "QuotaNonPagedPoolUsage") * 1024},
            {"VirtualBytes", Number(source, "VirtualSize")},
            {"VirtualBytesPeak", Number(source, "PeakVirtualSize")},
            {"PercentProcessorTime", Number(source, "KernelModeTime") + Number(source, "UserModeTime")},
            {"PercentUserTime", Number(source, "UserModeTime")},
            {"PercentPrivilegedTime", Number(source, "KernelModeTime")},
            {"PriorityBase", Number(source, "Priority")},
        };
        for (const auto& [property, value] : values) {
            counter.Set(property, std::to_string(value));
            add(property, value);
        }
        counter.cpuLoadPercent = source.cpuLoadPercent;
        if (pid != 0) busy += source.cpuLoadPercent;
        counters.push_back(std::move(counter));
    }
    // The idle process takes whatever the others leave, so that all processes together make 100 %.
    for (Instance& counter : counters)
        if (counter.Text("IDProcess") == "0") counter.cpuLoadPercent = std::max(0.0, 100.0 - busy);
    total.Set("Name", "_Total");
    total.Set("IDProcess", "0");
    total.cpuLoadPercent = std::max(100.0, busy);
    counters.push_back(std::move(total));
    for (Instance& counter : counters)
        counter.ratesPerSecond["PercentProcessorTime"] =
            counter.cpuLoadPercent / 100.0 * cpus * kSys100NsPerSecond;
    data.instances[perf] = std::move(counters);
}

void DeriveProcessorCounters(ComputerData& data, unsigned cpus) {
    const ClassDef* perf = data.schema->FindClass("root/cimv2", kProcessorPerfClass);
    if (perf == nullptr || !data.InstancesOf(perf).empty() || cpus == 0) return;
    std::vector<Instance> counters;
    for (unsigned cpu = 0; cpu <= cpus; ++cpu) {
        Instance counter = EmptyCounterInstance(*perf);
        counter.Set("Name", cpu == cpus ? "_Total" : std::to_string(cpu));
        Wave wave = data.settings.processorPercent;
        wave.phase += static_cast<double>(cpu) / (4.0 * cpus);
        counter.waves["PercentProcessorTime"] = wave;
        counters.push_back(std::move(counter));
    }
    data.instances[perf] = std::move(counters);
}

std::int64_t WaveValue(const Wave& wave, double seconds) {
    const double angle = 2 * std::numbers::pi * (seconds / std::max(wave.periodSeconds, 1e-3) + wave.phase);
    return std::max<std::int64_t>(0, std::llround(wave.mean + wave.amplitude * std::sin(angle)));
}

// The processor total is the mean of the processors, and idle/user/privileged shares follow the busy time.
void BalanceProcessorCounters(std::vector<Instance>& counters) {
    std::int64_t sum = 0;
    std::int64_t count = 0;
    for (Instance& counter : counters) {
        if (counter.Text("Name") == "_Total") continue;
        const std::int64_t busy = std::min<std::int64_t>(100, Number(counter, "PercentProcessorTime"));
        counter.Set("PercentProcessorTime", std::to_string(busy));
        sum += busy;
        ++count;
    }
    for (Instance& counter : counters) {
        if (counter.Text("Name") == "_Total" && count > 0)
            counter.Set("PercentProcessorTime", std::to_string(sum / count));
        const std::int64_t busy = Number(counter, "PercentProcessorTime");
        counter.Set("PercentIdleTime", std::to_string(100 - busy));
        counter.Set("PercentUserTime", std::to_string(busy * 7 / 10));
        counter.Set("PercentPrivilegedTime", std::to_string(busy - busy * 7 / 10));
    }
}

}  // namespace

unsigned LogicalProcessorCount(const ComputerData& data) {
    const ClassDef* processor = data.schema->FindClass("root/cimv2", "Win32_Processor");
    unsigned cpus = 0;
    if (processor != nullptr)
        for (const Instance& instance : data.InstancesOf(processor))
            cpus += static_cast<unsigned>(Number(instance, "NumberOfLogicalProcessors"));
    return cpus;
}

void DeriveCounters(ComputerData& data) {
    const unsigned cpus = std::max(1u, LogicalProcessorCount(data));
    DeriveProcessCounters(data, cpus);
    DeriveProcessorCounters(data, LogicalProcessorCount(data));
}

std::vector<Instance> SampleInstances(const ComputerData& data, const ClassDef& classDef, double seconds) {
    std::vector<Instance> samples = data.InstancesOf(&classDef);
    const PropertyDef* stamp = classDef.FindProperty("Timestamp_Sys100NS");
    const std::uint64_t elapsed100ns = static_cast<std::uint64_t>(std::llround(seconds * kSys100NsPerSecond));
    for (Instance& sample : samples) {
        for (const auto& [property, wave] : sample.waves)
            sample.Set(property, std::to_string(WaveValue(wave, seconds)));
        for (const auto& [property, rate] : sample.ratesPerSecond) {
            const auto growth = static_cast<std::uint64_t>(std::llround(rate * seconds));
            sample.Set(property,
                       std::to_string(static_cast<std::uint64_t>(Number(sample, property)) + growth));
        }
        if (stamp != nullptr) {
            sample.Set(stamp->name, std::to_string(kTimeStampOrigin + elapsed100ns));
            sample.Set("Frequency_Sys100NS", std::to_string(static_cast<std::uint64_t>(kSys100NsPerSecond)));
        }
    }
    if (EqualsIgnoreCaseAscii(classDef.name, kProcessorPerfClass)) BalanceProcessorCounters(samples);
    return samples;
}

}  // namespace qnsim
