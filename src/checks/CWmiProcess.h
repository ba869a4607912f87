// CWmiProcess: one process measured by the process check, with its CPU accumulator and its three values.
#pragma once

#include <cstdint>

#include "base/QncBaseObject.h"
#include "base/QncString.h"
#include "checks/CProcCpu.h"

// Which value a record's comparisons use.
enum WmiProcessCompareKind : std::uint32_t {
    kCompareCpu = 0,
    kCompareMemory = 1,
    kCompareHandles = 2,
};

class CWmiProcess : public CQncBase {
  public:
    CWmiProcess(const char* processId, const char* instance, std::uint32_t kind, std::uint32_t numCpus);

    // Each compares the value that this record's compareKind selects, as signed numbers.
    int IsEqual(const CQncBase& other, int flag = 0) const override;
    int IsGreater(const CQncBase& other, int flag = 0) const override;
    int IsLess(const CQncBase& other, int flag = 0) const override;

    // The value compareKind selects (any unknown kind means CPU).
    std::int32_t SelectedValue() const { return ValueOf(compareKind); }
    std::int32_t ValueOf(std::uint32_t kind) const;

    CQncString id;
    CQncString instanceName;
    CProcCpu cpu;
    // -1 means "not measured".
    std::int32_t cpuUsage = -1;
    std::int32_t memoryMB = -1;
    std::int32_t handles = -1;
    std::uint32_t compareKind = kCompareCpu;
};
