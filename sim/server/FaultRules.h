// Fault injection: rules read from a small text file, one rule per line, that change how the simulator
// answers chosen requests (see sim/README.md for the format).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "server/Faults.h"

namespace qnsim {

struct FaultEffect {
    std::optional<unsigned> httpStatus;     // answer with this status and an empty body
    std::optional<FaultKind> fault;         // answer with this WS-Management fault
    std::chrono::milliseconds delay{0};     // work this long first (beyond OperationTimeout: w:TimedOut)
    bool dropConnection = false;            // close the TCP connection without an answer
    std::optional<std::size_t> truncateAt;  // send only this many body bytes, then close
    bool malformedBody = false;             // a body that is not XML
    std::optional<std::string> contentType;
    std::optional<std::size_t> oversizeBy;  // pad the reply by this many bytes
    bool badSignature = false;              // corrupt the sealed reply's signature
};

struct FaultRule {
    int line = 0;
    std::optional<std::uint64_t> firstRequest, lastRequest;  // request numbers, 1-based
    std::optional<std::string> action;  // short action name: Enumerate, Pull, Release, Get or a method name
    std::optional<std::string> className;  // class named by the resource URI or the WQL
    std::optional<std::uint32_t> times;    // apply at most this often
    FaultEffect effect;
};

class FaultRules {
  public:
    // Null and `error` (source, line, problem) when a line is not understood.
    static std::unique_ptr<FaultRules> Parse(const std::string& text, const std::string& sourceName,
                                             std::string& error);
    static std::unique_ptr<FaultRules> Load(const std::string& path, std::string& error);

    // The first rule that matches request number `requestNumber`, counting it as used.
    std::optional<FaultEffect> Match(std::uint64_t requestNumber, const std::string& shortAction,
                                     const std::string& className);
    std::size_t Size() const { return rules_.size(); }

  private:
    std::vector<FaultRule> rules_;
    std::vector<std::uint32_t> used_;
    std::mutex mutex_;
};

}  // namespace qnsim
