// Memory for the items of one reply: their trees and texts are carved from a few large blocks and freed
// together, and the dictionary their names are interned in is held once for all of them.
//
// A check holds every item it enumerated until it returns. Four or five allocations per item, most of them
// too large for malloc's per-thread caches, cost more than building the tree did; an arena costs one
// allocation per few dozen items and keeps each item's tree and text side by side. The megabytes a large
// check frees when it returns are kept a while for the next (ReusePool.h).
//
// One arena serves all the replies of an enumeration, and their parsers intern names in its dictionary:
// a server that answers each Pull with one small item would otherwise cost a block and a dictionary of
// several KiB per item.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "wsman/core/XmlOwners.h"

namespace wsman::xml {

// A few thousand names cover every class of a computer; a dictionary that outlives its parse and holds
// more is replaced by a fresh one, so that a server inventing names cannot grow it without end.
inline constexpr int kMaxInternedNames = 20000;

class ItemArena {
  public:
    ItemArena() = default;
    ItemArena(const ItemArena&) = delete;
    ItemArena& operator=(const ItemArena&) = delete;

    // `bytes` of storage aligned for any of the trees' records, valid until Clear or destruction. Null
    // when memory is short.
    void* Allocate(std::size_t bytes);
    // Keeps the dictionary alive as long as the arena. False when no reference can be taken.
    bool Hold(xmlDict* dict);
    // A dictionary the arena holds, for the parser of its next reply. Null when memory is short.
    xmlDict* Dictionary();
    // Frees everything but the last block, which is kept for the next items when it is not large.
    void Clear();

  private:
    // A block of the largest size goes back to a pool shared by all arenas when it is freed (see
    // ReusePool.h); others go back to malloc.
    struct Block {
        Block(std::unique_ptr<std::byte[]> memory, std::size_t bytes)
            : bytes(std::move(memory)), size(bytes) {}
        Block(Block&&) = default;
        Block& operator=(Block&&) = delete;
        ~Block();
        std::unique_ptr<std::byte[]> bytes;
        std::size_t size;
    };
    std::vector<Block> blocks_;
    std::size_t used_ = 0;  // of the last block
    std::vector<DictPtr> dictionaries_;
    xmlDict* shared_ = nullptr;  // the one Dictionary hands out, among dictionaries_
};

}  // namespace wsman::xml
