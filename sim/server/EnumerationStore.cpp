#include "server/EnumerationStore.h"

#include "server/Uuid.h"

namespace qnsim {

void EnumerationStore::DropExpired(std::chrono::steady_clock::time_point now) {
    std::erase_if(entries_, [now](const auto& entry) { return entry.second.expires <= now; });
}

std::string EnumerationStore::Add(Enumeration enumeration, std::chrono::steady_clock::time_point now) {
    std::string context = NewUuidText();
    std::lock_guard lock(mutex_);
    DropExpired(now);
    entries_[context] = Entry{std::move(enumeration), now + timeout_};
    return context;
}

std::optional<Enumeration> EnumerationStore::Take(const std::string& context,
                                                  std::chrono::steady_clock::time_point now) {
    std::lock_guard lock(mutex_);
    DropExpired(now);
    auto found = entries_.find(context);
    if (found == entries_.end()) return std::nullopt;
    Enumeration enumeration = std::move(found->second.enumeration);
    entries_.erase(found);
    return enumeration;
}

void EnumerationStore::Return(const std::string& context, Enumeration enumeration,
                              std::chrono::steady_clock::time_point now) {
    std::lock_guard lock(mutex_);
    entries_[context] = Entry{std::move(enumeration), now + timeout_};
}

bool EnumerationStore::Release(const std::string& context, std::chrono::steady_clock::time_point now) {
    std::lock_guard lock(mutex_);
    DropExpired(now);
    return entries_.erase(context) > 0;
}

std::size_t EnumerationStore::Size() const {
    std::lock_guard lock(mutex_);
    return entries_.size();
}

}  // namespace qnsim
