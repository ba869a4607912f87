#include "checks/CWmiProcessList.h"

#include "base/QncText.h"

CWmiProcessList::CWmiProcessList(std::int32_t cpuLimit, std::int32_t memoryLimit, std::int32_t handlesLimit)
    : CQncList("CWmiProcessList"),
      cpuThreshold(cpuLimit),
      memoryThreshold(memoryLimit),
      handlesThreshold(handlesLimit) {}

void CWmiProcessList::Append(CWmiProcess* process) {
    if (Add(process, 1) != 1) {
        delete process;  // cannot happen with duplicates allowed; never leak the record
        return;
    }
    ++appended_;
}

void CWmiProcessList::SetCompareKind(std::uint32_t kind) {
    for (CQncListNode* node = GetHead(); node != nullptr; node = node->next) {
        static_cast<CWmiProcess*>(node->item)->compareKind = kind;
    }
}

CWmiProcess* CWmiProcessList::Last() const {
    CQncListNode* last = nullptr;
    for (CQncListNode* node = GetTail() != nullptr ? GetTail() : GetHead(); node != nullptr;
         node = node->next) {
        last = node;
    }
    return last != nullptr ? static_cast<CWmiProcess*>(last->item) : nullptr;
}

namespace {

std::string FoldedKey(const char* text) {
    std::string key = text != nullptr ? text : "";
    for (char& c : key) {
        c = QncToUpperAscii(c);
    }
    return key;
}

}  // namespace

const std::vector<CWmiProcess*>& CWmiProcessList::FindById(const char* processId) {
    static const std::vector<CWmiProcess*> kNone;
    if (appended_ != indexedCount_) {
        byId_.clear();
        for (CQncListNode* node = GetHead(); node != nullptr; node = node->next) {
            auto* process = static_cast<CWmiProcess*>(node->item);
            byId_[FoldedKey(process->id.GetText())].push_back(process);
        }
        indexedCount_ = appended_;
    }
    const auto found = byId_.find(FoldedKey(processId));
    return found != byId_.end() ? found->second : kNone;
}

CWmiProcess* CWmiProcessList::Select() {
    if (IsEmpty()) {
        return nullptr;
    }
    const std::int32_t thresholds[] = {cpuThreshold, memoryThreshold, handlesThreshold};
    const std::uint32_t kinds[] = {kCompareCpu, kCompareMemory, kCompareHandles};
    for (int i = 0; i < 3; ++i) {
        if (thresholds[i] > 0) {
            SetCompareKind(kinds[i]);
            Sort();
            CWmiProcess* tail = Last();
            if (tail->ValueOf(kinds[i]) >= thresholds[i]) {
                return tail;
            }
        }
    }
    std::uint32_t fallback = kCompareCpu;
    for (int i = 0; i < 3; ++i) {
        if (thresholds[i] == 0) {
            fallback = kinds[i];
            break;
        }
    }
    SetCompareKind(fallback);
    Sort();
    return Last();
}
