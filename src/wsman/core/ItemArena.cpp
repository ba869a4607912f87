#include "wsman/core/ItemArena.h"

#include <libxml/dict.h>
#include <libxml/parserInternals.h>

#include <algorithm>
#include <new>

#include "wsman/core/ReusePool.h"

namespace wsman::xml {

namespace {

// Blocks double from the first up to the largest, so that a one-item check takes little and a reply of
// hundreds of items takes a block per few dozen of them.
constexpr std::size_t kFirstBlock = 8 * 1024;
constexpr std::size_t kLargestBlock = 64 * 1024;
constexpr std::size_t kAlignment = alignof(std::max_align_t);

std::size_t Aligned(std::size_t bytes) {
    return (bytes + kAlignment - 1) & ~(kAlignment - 1);
}

// Largest blocks freed by arenas, kept for the next replies: enough for a check of a few thousand items.
using BlockPool = ReusePool<std::unique_ptr<std::byte[]>>;
BlockPool& Blocks() {
    // Never destroyed: arenas of other static and thread-local objects may be freed after it would be.
    static BlockPool* const pool = new BlockPool(256);  // 16 MiB of 64 KiB blocks
    return *pool;
}

}  // namespace

ItemArena::Block::~Block() {
    if (bytes != nullptr && size == kLargestBlock) Blocks().Keep(bytes);  // freed here when not kept
}

void* ItemArena::Allocate(std::size_t bytes) {
    bytes = Aligned(std::max<std::size_t>(bytes, 1));
    if (blocks_.empty() || blocks_.back().size - used_ < bytes) {
        const std::size_t next =
            blocks_.empty() ? kFirstBlock : std::min(blocks_.back().size * 2, kLargestBlock);
        const std::size_t size = std::max(next, bytes);
        std::unique_ptr<std::byte[]> memory;
        if (size == kLargestBlock) Blocks().Take(memory, [](const auto&) { return true; });
        if (memory == nullptr) memory.reset(new (std::nothrow) std::byte[size]);
        if (memory == nullptr) return nullptr;
        blocks_.emplace_back(std::move(memory), size);
        used_ = 0;
    }
    void* at = blocks_.back().bytes.get() + used_;
    used_ += bytes;
    return at;
}

bool ItemArena::Hold(xmlDict* dict) {
    if (dict != nullptr && dict == shared_) return true;
    if (!dictionaries_.empty() && dictionaries_.back().get() == dict) return true;
    if (dict == nullptr || xmlDictReference(dict) != 0) return false;
    dictionaries_.emplace_back(dict);
    return true;
}

xmlDict* ItemArena::Dictionary() {
    // A reply may take the dictionary up to libxml2's own limit: a fresh one is started once half of
    // it is used, so that names earlier replies invented cannot make a later reply fail.
    if (shared_ == nullptr || xmlDictSize(shared_) > kMaxInternedNames ||
        xmlDictGetUsage(shared_) > XML_MAX_DICTIONARY_LIMIT / 2) {
        DictPtr dict(xmlDictCreate());
        if (dict == nullptr) return nullptr;
        xmlDictSetLimit(dict.get(), XML_MAX_DICTIONARY_LIMIT);  // the limit a parser sets on its own
        shared_ = dict.get();
        dictionaries_.push_back(std::move(dict));
    }
    return shared_;
}

void ItemArena::Clear() {
    dictionaries_.clear();
    shared_ = nullptr;
    if (!blocks_.empty() && blocks_.back().size <= kLargestBlock) {
        Block kept = std::move(blocks_.back());
        blocks_.clear();
        blocks_.push_back(std::move(kept));
    } else {
        blocks_.clear();
    }
    used_ = 0;
}

}  // namespace wsman::xml
