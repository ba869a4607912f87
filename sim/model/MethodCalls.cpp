// The WMI methods the simulated computer carries out: service control, reboot and application pool state.
#include "model/InstanceRenderer.h"
#include "model/SimulatedComputer.h"
#include "model/TextRules.h"
#include "model/WmiErrors.h"

namespace qnsim {

namespace {

// Win32_Service method return values as Windows documents them.
constexpr std::uint32_t kSuccess = 0;
constexpr std::uint32_t kNotSupported = 1;
constexpr std::uint32_t kCannotAcceptControl = 5;
constexpr std::uint32_t kAlreadyRunning = 10;
constexpr std::uint32_t kServiceDisabled = 14;

// ApplicationPool.GetState: 0 starting, 1 started, 2 stopping, 3 stopped, 4 unknown.
constexpr int kPoolStarted = 1;
constexpr int kPoolStopped = 3;

}  // namespace

std::string SimulatedComputer::ServiceState(const Instance& service,
                                            std::chrono::steady_clock::time_point now) const {
    std::lock_guard lock(mutex_);
    const auto found = serviceTransitions_.find(ToLowerAscii(service.Text("Name")));
    if (found == serviceTransitions_.end()) return service.Text("State");
    const ServiceTransition& transition = found->second;
    const double elapsed = std::chrono::duration<double>(now - transition.since).count();
    if (elapsed < data_.settings.serviceTransitionSeconds)
        return transition.toRunning ? "Start Pending" : "Stop Pending";
    return transition.toRunning ? "Running" : "Stopped";
}

std::uint32_t SimulatedComputer::ControlService(const Instance& service, const std::string& method,
                                                std::chrono::steady_clock::time_point now) {
    const std::string state = ServiceState(service, now);
    const bool stop = EqualsIgnoreCaseAscii(method, "StopService");
    if (!stop && !EqualsIgnoreCaseAscii(method, "StartService")) return kNotSupported;
    if (stop && state != "Running") return kCannotAcceptControl;
    if (!stop && (state == "Running" || state == "Start Pending")) return kAlreadyRunning;
    if (!stop && state != "Stopped") return kCannotAcceptControl;
    if (!stop && EqualsIgnoreCaseAscii(service.Text("StartMode"), "Disabled")) return kServiceDisabled;
    std::lock_guard lock(mutex_);
    serviceTransitions_[ToLowerAscii(service.Text("Name"))] = ServiceTransition{!stop, now};
    return kSuccess;
}

Result<RenderedItem> SimulatedComputer::Invoke(const std::string& wmiNamespace, const std::string& className,
                                               const Selectors& selectors, const std::string& method,
                                               const std::string& inputXml,
                                               std::chrono::steady_clock::time_point now) {
    (void)inputXml;  // none of the simulated methods takes parameters
    if (!HasNamespace(wmiNamespace)) return Failure<RenderedItem>(InvalidNamespaceError());
    const ClassDef* classDef = data_.schema->FindClass(wmiNamespace, className);
    if (classDef == nullptr) return Failure<RenderedItem>(InvalidClassError());
    std::string methodName;
    for (const std::string& candidate : classDef->methods)
        if (EqualsIgnoreCaseAscii(candidate, method)) methodName = candidate;
    if (methodName.empty()) return Failure<RenderedItem>(InvalidMethodError());
    WmiError error;
    std::optional<Instance> instance = Resolve(*classDef, selectors, now, error);
    if (!instance) return Failure<RenderedItem>(error);

    std::uint32_t returnValue = kNotSupported;
    if (EqualsIgnoreCaseAscii(classDef->name, "Win32_Service")) {
        returnValue = ControlService(*instance, methodName, now);
    } else if (EqualsIgnoreCaseAscii(classDef->name, "Win32_OperatingSystem")) {
        if (EqualsIgnoreCaseAscii(methodName, "Reboot") ||
            EqualsIgnoreCaseAscii(methodName, "Win32Shutdown")) {
            std::lock_guard lock(mutex_);
            ++rebootRequests_;
            returnValue = kSuccess;
        }
    } else if (EqualsIgnoreCaseAscii(classDef->name, "ApplicationPool")) {
        const std::string pool = ToLowerAscii(instance->Text("Name"));
        if (EqualsIgnoreCaseAscii(methodName, "GetState")) {
            returnValue = static_cast<std::uint32_t>(instance->applicationPoolState);
        } else if (EqualsIgnoreCaseAscii(methodName, "Start") || EqualsIgnoreCaseAscii(methodName, "Stop")) {
            std::lock_guard lock(mutex_);
            poolStates_[pool] = EqualsIgnoreCaseAscii(methodName, "Start") ? kPoolStarted : kPoolStopped;
            returnValue = kSuccess;
        }
    }
    return Success(RenderedItem{RenderMethodOutput(*classDef, methodName, returnValue, wmiNamespace)});
}

}  // namespace qnsim
