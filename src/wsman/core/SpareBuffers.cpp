#include "wsman/core/SpareBuffers.h"

#include "wsman/core/ReusePool.h"

namespace wsman {

namespace {

ReusePool<std::string>& Spares() {
    // Never destroyed: sessions of static objects may give buffers back after it would be. Two buffers per
    // enumeration under way (the reply as it came, and unsealed) for two at once.
    static ReusePool<std::string>* const spares = new ReusePool<std::string>(4);
    return *spares;
}

}  // namespace

void ReleaseLargeBuffer(std::string& buffer) {
    if (buffer.capacity() > kKeptReplyCapacity) {
        buffer.clear();
        Spares().Keep(buffer);
        std::string().swap(buffer);  // freed here when not kept
    }
    buffer.clear();
}

void ReserveReplyBuffer(std::string& buffer, std::size_t capacity) {
    buffer.clear();
    if (buffer.capacity() >= capacity) return;
    if (capacity > kKeptReplyCapacity && Spares().Take(buffer, [capacity](const std::string& spare) {
            return spare.capacity() >= capacity;
        })) {
        return;  // kept buffers are empty
    }
    buffer.reserve(capacity);
}

}  // namespace wsman
