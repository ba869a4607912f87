#include "base/QncList.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "base/QncDiagnostics.h"

CQncList::CQncList(const char* objectName) : CQncBase(objectName) {}

CQncList::~CQncList() {
    Clear();
}

void CQncList::Clear() {
    for (CQncListNode* node = head_; node != nullptr;) {
        CQncListNode* next = node->next;
        if (ownsItems != 0) delete node->item;
        delete node;
        node = next;
    }
    head_ = tail_ = current_ = nullptr;
}

int CQncList::Add(CQncBase* item, int allowDuplicates) {
    if (item == nullptr) return 0;
    if (allowDuplicates == 0) {
        for (const CQncListNode* node = head_; node != nullptr; node = node->next) {
            if (node->item != nullptr && node->item->IsEqual(*item) == 1) return 0;
        }
    }
    auto* node = new CQncListNode;
    node->item = item;
    if (head_ == nullptr) {
        head_ = tail_ = current_ = node;
    } else {
        tail_->next = node;
        tail_ = node;
    }
    return 1;
}

void CQncList::Sort() {
    WriteDebugLine(debugFile, "Start...");
    std::vector<CQncBase*> items;
    for (const CQncListNode* node = head_; node != nullptr; node = node->next) items.push_back(node->item);
    std::stable_sort(items.begin(), items.end(),
                     [](const CQncBase* left, const CQncBase* right) { return left->IsLess(*right) != 0; });
    auto sorted = items.begin();
    for (CQncListNode* node = head_; node != nullptr; node = node->next) node->item = *sorted++;
    WriteDebugLine(debugFile, "End.");
}

std::uint32_t CQncList::Count() const {
    std::uint32_t count = 0;
    for (const CQncListNode* node = head_; node != nullptr; node = node->next) ++count;
    return count;
}

CQnsString::CQnsString() = default;

CQnsString::CQnsString(const char* itemText) : text(itemText) {}

namespace {

const CQnsString* AsString(const CQncBase& other) {
    return dynamic_cast<const CQnsString*>(&other);
}

}  // namespace

int CQnsString::IsEqual(const CQncBase& other, int) const {
    const CQnsString* that = AsString(other);
    return that != nullptr && QncStricmp(text.GetText(), that->text.GetText()) == 0 ? 1 : 0;
}

int CQnsString::IsGreater(const CQncBase& other, int) const {
    const CQnsString* that = AsString(other);
    return that != nullptr && QncStricmp(text.GetText(), that->text.GetText()) > 0 ? 1 : 0;
}

int CQnsString::IsLess(const CQncBase& other, int) const {
    const CQnsString* that = AsString(other);
    return that != nullptr && QncStricmp(text.GetText(), that->text.GetText()) < 0 ? 1 : 0;
}

std::unique_ptr<CQncBase> CQnsString::Clone() const {
    return std::make_unique<CQnsString>(text.GetText());
}

CQncListString::CQncListString(const char* objectName) : CQncList(objectName) {}

int CQncListString::AddString(const char* itemText) {
    CQncString trimmed(itemText);
    trimmed.Trim();
    auto item = std::make_unique<CQnsString>(trimmed.GetText());
    const int added = Add(item.get(), 0);
    if (added == 1) item.release();  // the list has it now
    return added;
}

CQncString& CQncListString::Join(CQncString& out, int maxLength) {
    out.Assign("");
    if (separator.IsEmpty()) return out;
    for (CQncListNode* node = GetHead(); node != nullptr; node = node->next) {
        SetCurrent(node);
        const auto* item = dynamic_cast<const CQnsString*>(node->item);
        if (item == nullptr) continue;
        // The separator is counted before the first item too: the limit is the caller's buffer size.
        if (maxLength >= 0 &&
            out.Length() + item->text.Length() + separatorLength > static_cast<std::size_t>(maxLength)) {
            break;
        }
        if (!out.IsEmpty()) out.Append(separator.GetText());
        out.Append(item->text.GetText());
    }
    return out;
}

void CQncListString::Parse(const char* listText) {
    Clear();
    CQncString text(listText);
    text.Trim();
    if (!altSeparator.IsEmpty()) text.ReplaceAll(altSeparator.GetText(), separator.GetText());
    if (separator.IsEmpty()) {
        AddString(text.GetText());
    } else {
        const char* piece = text.GetText();
        const std::size_t separatorSize = separator.Length();
        for (const char* end = std::strstr(piece, separator.GetText()); end != nullptr;
             end = std::strstr(piece, separator.GetText())) {
            AddString(std::string(piece, end).c_str());
            piece = end + separatorSize;
        }
        AddString(piece);
    }
    Sort();
}
