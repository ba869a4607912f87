// Singly linked lists of CQncBase objects, and the de-duplicating, sortable, joinable list of names.
#pragma once

#include <cstdint>

#include "base/QncBaseObject.h"
#include "base/QncString.h"

class CQncListNode {
  public:
    CQncListNode() = default;
    virtual ~CQncListNode() = default;
    CQncListNode(const CQncListNode&) = delete;
    CQncListNode& operator=(const CQncListNode&) = delete;

    CQncBase* item = nullptr;      // owned by the list when its ownsItems is set
    CQncListNode* next = nullptr;  // owned by the list
};

class CQncList : public CQncBase {
  public:
    explicit CQncList(const char* objectName = nullptr);
    ~CQncList() override;

    // Destroys every node (and every item when ownsItems is set); the list is then empty.
    void Clear();
    // Appends `item` unless allowDuplicates is 0 and a listed item IsEqual to it: then returns 0 and the
    // caller keeps the item. Returns 1 when appended (the list then owns it if ownsItems is set).
    int Add(CQncBase* item, int allowDuplicates);
    // Orders the items ascending by IsLess; the nodes stay, the items move among them.
    void Sort();

    CQncListNode* GetHead() const { return head_; }
    CQncListNode* GetTail() const { return tail_; }
    CQncListNode* GetCurrent() const { return current_; }
    void SetCurrent(CQncListNode* node) { current_ = node; }
    std::uint32_t Count() const;
    bool IsEmpty() const { return head_ == nullptr; }

    std::uint32_t ownsItems = 1;
    // The debug-line file for Sort's "Start..."/"End." lines; empty writes nothing.
    CQncString debugFile;

  private:
    CQncListNode* head_ = nullptr;
    CQncListNode* tail_ = nullptr;
    CQncListNode* current_ = nullptr;
};

// A list item holding one text; compares case-insensitively.
class CQnsString : public CQncBase {
  public:
    CQnsString();
    explicit CQnsString(const char* text);

    int IsEqual(const CQncBase& other, int flag = 0) const override;
    int IsGreater(const CQncBase& other, int flag = 0) const override;
    int IsLess(const CQncBase& other, int flag = 0) const override;
    std::unique_ptr<CQncBase> Clone() const override;

    CQncString text;
};

class CQncListString : public CQncList {
  public:
    explicit CQncListString(const char* objectName = nullptr);

    // Adds the trimmed text unless a listed item equals it without regard to case (then returns 0).
    int AddString(const char* text);
    // out := the items joined by `separator`, stopping at the first item that would take the length
    // (counting separatorLength also before the first item) past maxLength; -1 means no limit.
    CQncString& Join(CQncString& out, int maxLength);
    // Replaces the list by the pieces of `text` split at `separator` (altSeparator counts as one), sorted.
    void Parse(const char* text);

    CQncString separator{","};
    std::uint32_t separatorLength = 1;
    CQncString altSeparator{";"};
};
