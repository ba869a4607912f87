// Kept module sessions, one per target, auth and namespace, so that a scrape pays the checks and not a login.
// Bounded in number, closed when idle or broken, and never used by two threads at once: whoever runs module
// calls holds the session's `busy` flag for their whole duration.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "ModuleSession.h"

namespace qnexporter {

// Whether a session is in use. Unlike a mutex it may be taken on one thread and given back on another: the
// request thread waits for it within its deadline and hands it to the worker that runs the calls.
class BusyFlag {
  public:
    bool TryTakeUntil(std::chrono::steady_clock::time_point deadline) {
        std::unique_lock<std::mutex> lock(mutex_);
        if (!free_.wait_until(lock, deadline, [this] { return !busy_; })) return false;
        busy_ = true;
        return true;
    }
    void Give() {
        {
            std::lock_guard<std::mutex> lock(mutex_);
            busy_ = false;
        }
        free_.notify_one();
    }
    bool Busy() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return busy_;
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable free_;
    bool busy_ = false;
};

// Holds a taken BusyFlag and gives it back when it goes, on whichever thread that is.
class BusyLease {
  public:
    BusyLease() = default;
    explicit BusyLease(BusyFlag& flag) : flag_(&flag) {}
    BusyLease(BusyLease&& other) noexcept : flag_(std::exchange(other.flag_, nullptr)) {}
    BusyLease& operator=(BusyLease&&) = delete;
    BusyLease(const BusyLease&) = delete;
    ~BusyLease() { Release(); }
    void Release() {
        if (flag_) std::exchange(flag_, nullptr)->Give();
    }

  private:
    BusyFlag* flag_ = nullptr;
};

struct KeptSession {
    BusyFlag busy;
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
    // Marks the session of `key` used now (call while holding its `busy` flag, after the calls).
    void Touch(const std::string& key);
    // Forgets `session` (a failed login or a broken session); it closes once its last user lets go.
    void Discard(const std::string& key, const std::shared_ptr<KeptSession>& session);
    // Closes sessions idle longer than the limit.
    void CloseIdle();
    // Forgets every session; those in use close when their calls return.
    void CloseAll();

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
