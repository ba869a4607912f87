// CWmiProcessList: the measured processes of one process check (owned by the list), with the thresholds
// that pick the process of interest among them.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/QncList.h"
#include "checks/CWmiProcess.h"

class CWmiProcessList : public CQncList {
  public:
    CWmiProcessList(std::int32_t cpuLimit = 0, std::int32_t memoryLimit = 0, std::int32_t handlesLimit = 0);

    // Appends a record; the list owns it from then on. Records are added only this way.
    void Append(CWmiProcess* process);
    // Sets compareKind of every record.
    void SetCompareKind(std::uint32_t kind);
    // The record added last, or null.
    CWmiProcess* Last() const;
    // The records whose id equals `processId` without regard to case (empty when none). The index behind
    // it is rebuilt after records were added, so a whole sampling pass stays linear.
    const std::vector<CWmiProcess*>& FindById(const char* processId);

    // Picks the process of interest. For each threshold above 0, in the order CPU, memory, handles: sort
    // by that value and take the tail; a tail that reaches its threshold ends the selection. When none
    // does, the list is left sorted by the first threshold that is 0 (CPU when none is) and its tail is
    // returned. Null for an empty list.
    virtual CWmiProcess* Select();

    std::int32_t cpuThreshold = 0;
    std::int32_t memoryThreshold = 0;
    std::int32_t handlesThreshold = 0;

  private:
    std::unordered_map<std::string, std::vector<CWmiProcess*>> byId_;
    std::uint32_t appended_ = 0;
    std::uint32_t indexedCount_ = 0;
};
