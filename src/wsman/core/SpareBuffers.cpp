#include "wsman/core/SpareBuffers.h"

#include <chrono>
#include <deque>
#include <mutex>
#include <utility>

namespace wsman {

namespace {

// Two per enumeration under way (the reply as it came, and unsealed) for two at once.
constexpr std::size_t kMaxSpares = 4;
constexpr auto kIdle = std::chrono::seconds(10);

class Spares {
  public:
    static Spares& Shared() {
        // Never destroyed: sessions of static objects may give buffers back after it would be.
        static Spares* const spares = new Spares();
        return *spares;
    }

    void Keep(std::string&& buffer) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ForgetIdle();
        if (kept_.size() == kMaxSpares) kept_.pop_front();
        buffer.clear();
        kept_.push_back(Spare{std::move(buffer), std::chrono::steady_clock::now()});
    }

    bool TakeInto(std::string& buffer, std::size_t capacity) {
        const std::lock_guard<std::mutex> lock(mutex_);
        ForgetIdle();
        for (auto spare = kept_.rbegin(); spare != kept_.rend(); ++spare) {
            if (spare->buffer.capacity() < capacity) continue;
            buffer.swap(spare->buffer);
            kept_.erase(std::next(spare).base());
            return true;
        }
        return false;
    }

  private:
    struct Spare {
        std::string buffer;
        std::chrono::steady_clock::time_point since;
    };

    // The oldest stand first.
    void ForgetIdle() {
        const auto now = std::chrono::steady_clock::now();
        while (!kept_.empty() && now - kept_.front().since > kIdle) kept_.pop_front();
    }

    std::mutex mutex_;
    std::deque<Spare> kept_;
};

}  // namespace

void ReleaseLargeBuffer(std::string& buffer) {
    if (buffer.capacity() <= kKeptReplyCapacity) {
        buffer.clear();
        return;
    }
    Spares::Shared().Keep(std::move(buffer));
    std::string().swap(buffer);
}

void ReserveReplyBuffer(std::string& buffer, std::size_t capacity) {
    buffer.clear();
    if (buffer.capacity() >= capacity) return;
    std::string spare;
    if (capacity > kKeptReplyCapacity && Spares::Shared().TakeInto(spare, capacity)) {
        buffer.swap(spare);
        buffer.clear();
        return;  // the small buffer in `spare` is freed here
    }
    buffer.reserve(capacity);
}

}  // namespace wsman
