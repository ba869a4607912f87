// Open enumerations: the items still to be pulled, keyed by their "uuid:" context, expiring like Windows'
// EnumerationTimeoutms after the last Enumerate or Pull.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "model/ComputerModel.h"

namespace qnsim {

struct Enumeration {
    std::vector<RenderedItem> items;
    std::size_t next = 0;                      // first item not yet sent
    std::optional<std::uint32_t> maxElements;  // as given in the Enumerate
    std::optional<std::uint32_t> maxEnvelopeSize;
};

class EnumerationStore {
  public:
    explicit EnumerationStore(std::chrono::milliseconds timeout) : timeout_(timeout) {}

    std::string Add(Enumeration enumeration, std::chrono::steady_clock::time_point now);
    // Takes the enumeration out while a Pull works on it; null when unknown or expired.
    std::optional<Enumeration> Take(const std::string& context, std::chrono::steady_clock::time_point now);
    // Puts it back under the same context after a Pull that did not finish it.
    void Return(const std::string& context, Enumeration enumeration,
                std::chrono::steady_clock::time_point now);
    bool Release(const std::string& context, std::chrono::steady_clock::time_point now);
    std::size_t Size() const;

  private:
    struct Entry {
        Enumeration enumeration;
        std::chrono::steady_clock::time_point expires;
    };
    void DropExpired(std::chrono::steady_clock::time_point now);

    const std::chrono::milliseconds timeout_;
    mutable std::mutex mutex_;
    std::map<std::string, Entry> entries_;
};

}  // namespace qnsim
