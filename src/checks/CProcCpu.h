// CProcCpu: turns pairs of raw processor-time samples of one process into an averaged percentage.
#pragma once

#include <cstdint>

#include "base/QncBaseObject.h"

class CProcCpu : public CQncBase {
  public:
    explicit CProcCpu(std::uint32_t numCpus = 0);

    // Compare by the averaged percentage.
    int IsEqual(const CQncBase& other, int flag = 0) const override;
    int IsGreater(const CQncBase& other, int flag = 0) const override;
    int IsLess(const CQncBase& other, int flag = 0) const override;

    // Opens a pair with the raw PercentProcessorTime and TimeStamp_Sys100NS of the first sample.
    void SetFirstSample(std::int64_t rawTime, std::int64_t rawStamp);
    // Closes the pair with the second sample and updates the average. A pair whose two stamps are equal
    // measured no time and changes nothing: then false.
    bool AddSecondSample(std::int64_t rawTime, std::int64_t rawStamp);

    std::uint32_t numCpus = 0;
    float cpuPercent = 0.0f;
    float sumPercent = 0.0f;
    std::int64_t firstTime = 0;
    std::int64_t firstStamp = 0;
    float pairs = 0.0f;
};
