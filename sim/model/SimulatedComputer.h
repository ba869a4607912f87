// The ComputerModel of a profile: answers WQL, Get and Invoke from the profile's instances, with sampled
// counters moving with time and services changing state under Invoke.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <optional>

#include "model/ComputerData.h"
#include "model/ComputerModel.h"
#include "model/WqlQuery.h"

namespace qnsim {

class SimulatedComputer final : public ComputerModel {
  public:
    SimulatedComputer(ComputerData data, std::chrono::steady_clock::time_point startTime);

    std::string HostName() const override;
    bool HasNamespace(const std::string& wmiNamespace) const override;
    Result<std::vector<RenderedItem>> ExecQuery(const std::string& wmiNamespace, const std::string& wql,
                                                std::chrono::steady_clock::time_point now) override;
    Result<RenderedItem> Get(const std::string& wmiNamespace, const std::string& className,
                             const Selectors& selectors, std::chrono::steady_clock::time_point now) override;
    Result<RenderedItem> Invoke(const std::string& wmiNamespace, const std::string& className,
                                const Selectors& selectors, const std::string& method,
                                const std::string& inputXml,
                                std::chrono::steady_clock::time_point now) override;

    // How many times Win32_OperatingSystem.Reboot was accepted.
    int RebootRequests() const;
    unsigned LogicalProcessors() const;

  private:
    struct ServiceTransition {
        bool toRunning = false;
        std::chrono::steady_clock::time_point since;
    };

    double SecondsSinceStart(std::chrono::steady_clock::time_point now) const;
    // The instances of a class as they look at `now`, with services and pools in their current state.
    std::vector<Instance> Sample(const ClassDef& classDef, std::chrono::steady_clock::time_point now) const;
    std::vector<const ClassDef*> ClassAndSubclasses(const std::string& wmiNamespace,
                                                    const ClassDef& base) const;
    Result<std::vector<RenderedItem>> SelectInstances(const std::string& wmiNamespace, const WqlQuery& query,
                                                      std::chrono::steady_clock::time_point now) const;
    Result<std::vector<RenderedItem>> SelectClasses(const std::string& wmiNamespace,
                                                    const WqlQuery& query) const;
    Result<std::vector<RenderedItem>> Associators(const std::string& wmiNamespace, const WqlQuery& query,
                                                  std::chrono::steady_clock::time_point now) const;
    // Finds the instance that the selectors name; sets `error` when the selectors are wrong or match nothing.
    std::optional<Instance> Resolve(const ClassDef& classDef, const Selectors& selectors,
                                    std::chrono::steady_clock::time_point now, WmiError& error) const;

    std::uint32_t ControlService(const Instance& service, const std::string& method,
                                 std::chrono::steady_clock::time_point now);
    std::string ServiceState(const Instance& service, std::chrono::steady_clock::time_point now) const;

    const ComputerData data_;
    const std::chrono::steady_clock::time_point startTime_;
    mutable std::mutex mutex_;                                     // guards the state that Invoke changes
    std::map<std::string, ServiceTransition> serviceTransitions_;  // lower-case service name
    std::map<std::string, int> poolStates_;                        // lower-case pool name
    int rebootRequests_ = 0;
};

}  // namespace qnsim
