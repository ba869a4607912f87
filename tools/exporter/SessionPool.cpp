#include "SessionPool.h"

namespace qnexporter {

namespace {
bool Idle(const KeptSession& session) {
    return !session.busy.Busy();
}
}  // namespace

std::shared_ptr<KeptSession> SessionPool::Acquire(const std::string& key) {
    std::map<std::string, Entry>
        closing;  // closed after the lock is released: closing may talk to the computer
    std::lock_guard<std::mutex> lock(mutex_);
    const auto now = std::chrono::steady_clock::now();
    if (auto found = entries_.find(key); found != entries_.end()) return found->second.session;
    TakeIdle(now, closing, false);
    if (entries_.size() >= maxSessions_) TakeIdle(now, closing, true);
    if (entries_.size() >= maxSessions_) return nullptr;
    auto session = std::make_shared<KeptSession>();
    entries_[key] = {session, now};
    return session;
}

void SessionPool::Touch(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto found = entries_.find(key); found != entries_.end())
        found->second.lastUsed = std::chrono::steady_clock::now();
}

void SessionPool::Discard(const std::string& key, const std::shared_ptr<KeptSession>& session) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (auto found = entries_.find(key); found != entries_.end() && found->second.session == session)
        entries_.erase(found);
}

void SessionPool::CloseIdle() {
    std::map<std::string, Entry> closing;
    std::lock_guard<std::mutex> lock(mutex_);
    TakeIdle(std::chrono::steady_clock::now(), closing, false);
}

void SessionPool::TakeIdle(std::chrono::steady_clock::time_point now, std::map<std::string, Entry>& out,
                           bool oldestOnly) {
    auto oldest = entries_.end();
    for (auto it = entries_.begin(); it != entries_.end();) {
        const bool expired = now - it->second.lastUsed > idleLimit_;
        if (!oldestOnly && expired && Idle(*it->second.session)) {
            out.insert(entries_.extract(it++));
            continue;
        }
        if (oldestOnly && (oldest == entries_.end() || it->second.lastUsed < oldest->second.lastUsed) &&
            Idle(*it->second.session))
            oldest = it;
        ++it;
    }
    if (oldestOnly && oldest != entries_.end()) out.insert(entries_.extract(oldest));
}

void SessionPool::CloseAll() {
    std::map<std::string, Entry> closing;
    std::lock_guard<std::mutex> lock(mutex_);
    closing.swap(entries_);
}

std::size_t SessionPool::Size() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
}

std::size_t SessionPool::Busy() const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::size_t busy = 0;
    for (const auto& [key, entry] : entries_) busy += Idle(*entry.session) ? 0 : 1;
    return busy;
}

}  // namespace qnexporter
