#include "wsman/core/ItemArena.h"

#include <libxml/dict.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <mutex>
#include <new>

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

// Largest blocks freed by arenas, kept for the next replies: checks that follow one another reuse the same
// memory instead of faulting fresh pages in (on some virtual machines a fault costs as much as reading an
// item). Bounded: enough for a check of a few thousand items. A block unused for a while is given back
// when the pool is next used.
class BlockPool {
  public:
    static BlockPool& Shared() {
        // Never destroyed: arenas of other static and thread-local objects may be freed after it would be.
        static BlockPool* const pool = new BlockPool();
        return *pool;
    }

    std::byte* Take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (kept_.empty()) return nullptr;
        std::byte* block = kept_.back().block;
        kept_.pop_back();
        return block;
    }

    // False when the pool is full: the caller frees the block.
    bool Keep(std::byte* block) {
        const auto now = std::chrono::steady_clock::now();
        const std::lock_guard<std::mutex> lock(mutex_);
        // The oldest stand first: those unused for long are given back.
        while (!kept_.empty() && now - kept_.front().since > kIdle) {
            delete[] kept_.front().block;
            kept_.pop_front();
        }
        if (kept_.size() >= kMaxKept) return false;
        kept_.push_back(Kept{block, now});
        return true;
    }

  private:
    static constexpr std::size_t kMaxKept = 256;  // 16 MiB of 64 KiB blocks
    static constexpr auto kIdle = std::chrono::seconds(10);
    struct Kept {
        std::byte* block;
        std::chrono::steady_clock::time_point since;
    };
    std::mutex mutex_;
    std::deque<Kept> kept_;
};

}  // namespace

ItemArena::Block& ItemArena::Block::operator=(Block&& other) noexcept {
    if (this != &other) {
        Block gone(std::move(*this));
        bytes_ = std::exchange(other.bytes_, nullptr);
        size_ = other.size_;
    }
    return *this;
}

ItemArena::Block::~Block() {
    if (bytes_ == nullptr) return;
    if (size_ == kLargestBlock && BlockPool::Shared().Keep(bytes_)) return;
    delete[] bytes_;
}

void* ItemArena::Allocate(std::size_t bytes) {
    bytes = Aligned(std::max<std::size_t>(bytes, 1));
    if (blocks_.empty() || blocks_.back().Size() - used_ < bytes) {
        const std::size_t next =
            blocks_.empty() ? kFirstBlock : std::min(blocks_.back().Size() * 2, kLargestBlock);
        const std::size_t size = std::max(next, bytes);
        std::byte* memory = size == kLargestBlock ? BlockPool::Shared().Take() : nullptr;
        if (memory == nullptr) memory = new (std::nothrow) std::byte[size];
        if (memory == nullptr) return nullptr;
        blocks_.emplace_back(memory, size);
        used_ = 0;
    }
    void* at = blocks_.back().Bytes() + used_;
    used_ += bytes;
    return at;
}

bool ItemArena::Hold(xmlDict* dict) {
    if (!dictionaries_.empty() && dictionaries_.back().get() == dict) return true;
    if (dict == nullptr || xmlDictReference(dict) != 0) return false;
    dictionaries_.emplace_back(dict);
    return true;
}

void ItemArena::Clear() {
    dictionaries_.clear();
    if (!blocks_.empty() && blocks_.back().Size() <= kLargestBlock) {
        Block kept = std::move(blocks_.back());
        blocks_.clear();
        blocks_.push_back(std::move(kept));
    } else {
        blocks_.clear();
    }
    used_ = 0;
}

}  // namespace wsman::xml
