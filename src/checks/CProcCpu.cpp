#include "checks/CProcCpu.h"

#include <cmath>

CProcCpu::CProcCpu(std::uint32_t cpus) : CQncBase("CProcCpu"), numCpus(cpus) {}

namespace {

const CProcCpu* AsProcCpu(const CQncBase& other) {
    return dynamic_cast<const CProcCpu*>(&other);
}

}  // namespace

int CProcCpu::IsEqual(const CQncBase& other, int) const {
    const CProcCpu* rhs = AsProcCpu(other);
    return rhs != nullptr && cpuPercent == rhs->cpuPercent ? 1 : 0;
}

int CProcCpu::IsGreater(const CQncBase& other, int) const {
    const CProcCpu* rhs = AsProcCpu(other);
    return rhs != nullptr && cpuPercent > rhs->cpuPercent ? 1 : 0;
}

int CProcCpu::IsLess(const CQncBase& other, int) const {
    const CProcCpu* rhs = AsProcCpu(other);
    return rhs != nullptr && cpuPercent < rhs->cpuPercent ? 1 : 0;
}

void CProcCpu::SetFirstSample(std::int64_t rawTime, std::int64_t rawStamp) {
    firstTime = rawTime;
    firstStamp = rawStamp;
}

bool CProcCpu::AddSecondSample(std::int64_t rawTime, std::int64_t rawStamp) {
    if (rawStamp == firstStamp) {
        return false;
    }
    pairs += 1.0f;
    // The differences are taken as unsigned before they become floats; a counter that went backwards
    // therefore yields a huge value rather than a negative one, as the hosts have always seen it.
    const auto busy = static_cast<float>(static_cast<std::uint64_t>(rawTime - firstTime));
    const auto elapsed = static_cast<float>(static_cast<std::uint64_t>(rawStamp - firstStamp));
    sumPercent += std::fabs(busy / elapsed * 100.0f);
    cpuPercent = sumPercent / pairs / static_cast<float>(numCpus);
    return true;
}
