// Kept module sessions, one per target, auth and namespace, so that a scrape pays the checks and not a login.
// Bounded in number, closed when idle or broken, and never used by two threads at once: whoever runs module
// calls holds the session's `busy` lock for their whole duration.
#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "ModuleSession.h"

namespace qnexporter {

struct KeptSession {
    std::timed_mutex busy;
    qnhost::ModuleSession module;  // touched only by the holder of `busy`
    bool initialized = false;
    bool connected = false;
};

class SessionPool {
  public:
    SessionPool(std::size_t maxSessions, std::chrono::seconds idleLimit)
        : maxSessions_(maxSessions), idleLimit_(idleLimit) {}

    // The session kept for `key`, or a new empty one; nullptr when the pool is full of sessions in use.
    std::shared_ptr<KeptSession> Acquire(const std::string& key);
    // Marks `session` used now (call while holding its `busy` lock, after the calls).
    void Touch(const std::string& key);
    // Forgets `session` (a failed login or a broken session); it closes once its last user lets go.
    void Discard(const std::string& key, const std::shared_ptr<KeptSession>& session);
    // Closes sessions idle longer than the limit.
    void CloseIdle();

    std::size_t Size() const;
    std::size_t Busy() const;

  private:
    struct Entry {
        std::shared_ptr<KeptSession> session;
        std::chrono::steady_clock::time_point lastUsed;
    };
    // Takes out the entries that may go; the caller lets them close outside the lock.
    void TakeIdle(std::chrono::steady_clock::time_point now, std::map<std::string, Entry>& out,
                  bool oldestOnly);

    const std::size_t maxSessions_;
    const std::chrono::seconds idleLimit_;
    mutable std::mutex mutex_;
    std::map<std::string, Entry> entries_;
};

}  // namespace qnexporter
