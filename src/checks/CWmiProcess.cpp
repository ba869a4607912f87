#include "checks/CWmiProcess.h"

CWmiProcess::CWmiProcess(const char* processId, const char* instance, std::uint32_t kind,
                         std::uint32_t numCpus)
    : CQncBase("CWmiProcess"), id(processId), instanceName(instance), cpu(numCpus), compareKind(kind) {}

std::int32_t CWmiProcess::ValueOf(std::uint32_t kind) const {
    switch (kind) {
        case kCompareMemory:
            return memoryMB;
        case kCompareHandles:
            return handles;
        default:
            return cpuUsage;
    }
}

namespace {

const CWmiProcess* AsProcess(const CQncBase& other) {
    return dynamic_cast<const CWmiProcess*>(&other);
}

}  // namespace

// The left-hand record's compareKind decides which value of both records is compared.
int CWmiProcess::IsEqual(const CQncBase& other, int) const {
    const CWmiProcess* rhs = AsProcess(other);
    return rhs != nullptr && SelectedValue() == rhs->ValueOf(compareKind) ? 1 : 0;
}

int CWmiProcess::IsGreater(const CQncBase& other, int) const {
    const CWmiProcess* rhs = AsProcess(other);
    return rhs != nullptr && SelectedValue() > rhs->ValueOf(compareKind) ? 1 : 0;
}

int CWmiProcess::IsLess(const CQncBase& other, int) const {
    const CWmiProcess* rhs = AsProcess(other);
    return rhs != nullptr && SelectedValue() < rhs->ValueOf(compareKind) ? 1 : 0;
}
