// Large reply buffers that sessions give back when an enumeration ends, kept a while for the next one
// (ReusePool.h). A session holds no large buffer between checks, so a host with hundreds of sessions stays
// small, while checks that follow one another do not take half a megabyte afresh each time.
#pragma once

#include <cstddef>
#include <string>

namespace wsman {

// What a session keeps of its reply buffers between checks: small replies then need no fresh memory (and no
// page faults), while an idle session holds no half-megabyte enumeration reply.
inline constexpr std::size_t kKeptReplyCapacity = 16 * 1024;

// Takes `buffer`'s memory when it holds more than kKeptReplyCapacity bytes; `buffer` is empty afterwards
// either way, and keeps its memory when it is not larger than that.
void ReleaseLargeBuffer(std::string& buffer);

// Empties `buffer` and makes it hold at least `capacity` bytes; a reply larger than a session keeps takes a
// kept buffer's memory when one is large enough.
void ReserveReplyBuffer(std::string& buffer, std::size_t capacity);

}  // namespace wsman
