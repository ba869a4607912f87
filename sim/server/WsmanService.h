// The WS-Management service: Enumerate / Pull / Release / Get / Invoke against the computer model, with the
// answers and faults Windows gives. Transport-neutral: takes a parsed request, returns status and envelope.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "model/ComputerModel.h"
#include "server/EnumerationStore.h"
#include "server/Faults.h"
#include "server/ResourceUri.h"
#include "server/WsmanRequest.h"

namespace qnsim {

struct ServiceSettings {
    // Windows sends far fewer items with an optimized Enumerate than MaxElements allows; clients must Pull.
    std::uint32_t maxItemsInEnumerateResponse = 1;
    std::chrono::milliseconds enumerationTimeout{240000};  // EnumerationTimeoutms
    std::uint32_t maxEnvelopeSize = 512000;                // MaxEnvelopeSizekb 500
};

struct ServiceReply {
    unsigned status = 200;
    std::string envelope;
};

class WsmanService {
  public:
    WsmanService(std::shared_ptr<ComputerModel> model, ServiceSettings settings);

    ServiceReply Handle(const WsmanRequest& request, std::chrono::steady_clock::time_point now);
    ServiceReply Fault(FaultKind kind, const std::string& relatesTo, const std::string& locale = "") const;
    std::size_t OpenEnumerations() const { return enumerations_.Size(); }

  private:
    ServiceReply Enumerate(const WsmanRequest& request, const WmiResource& resource,
                           std::chrono::steady_clock::time_point now);
    ServiceReply Pull(const WsmanRequest& request, std::chrono::steady_clock::time_point now);
    ServiceReply Release(const WsmanRequest& request, std::chrono::steady_clock::time_point now);
    ServiceReply Get(const WsmanRequest& request, const WmiResource& resource,
                     std::chrono::steady_clock::time_point now);
    ServiceReply Invoke(const WsmanRequest& request, const WmiResource& resource, const std::string& method,
                        std::chrono::steady_clock::time_point now);
    ServiceReply WmiFault(const WmiError& error, const WsmanRequest& request, const WmiResource& resource,
                          const std::string& operation, const std::string& parameterInfo) const;
    ServiceReply FaultWith(FaultKind kind, const std::string& relatesTo,
                           std::optional<ProviderFault> provider, const std::string& locale) const;

    std::shared_ptr<ComputerModel> model_;
    ServiceSettings settings_;
    EnumerationStore enumerations_;
};

}  // namespace qnsim
