// The simulated Windows computer's WMI side: classes and instances from a profile, a WQL engine, and the
// rendering of instances exactly as Windows WinRM puts them on the wire. The server side (HTTP, auth,
// SOAP envelopes, faults) asks this model and wraps what it returns.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qnsim {

// A WMI-level failure; the server turns it into the WS-Management fault Windows sends for it.
struct WmiError {
    enum class Kind {
        InvalidClass,      // WQL names a class the namespace lacks          -> n:CannotProcessFilter
        InvalidQuery,      // WQL syntax error                                 -> n:CannotProcessFilter
        InvalidNamespace,  // resource URI names a namespace that does not exist
        NotFound,          // Get/Invoke on an instance that does not exist     -> a:DestinationUnreachable
        InvalidMethod,     // Invoke of a method the class lacks               -> a:ActionNotSupported
        InvalidSelectors,  // wrong or missing keys                            -> w:InvalidSelectors
        InvalidParameter,  // bad method input
    };
    Kind kind;
    std::uint32_t wbemCode = 0;  // WBEM_E_* (e.g. 0x80041010 invalid class)
    std::string message;         // the provider's English message
};

// One rendered item: the XML text of one instance element (<p:Class ...>) or one <w:XmlFragment>.
struct RenderedItem {
    std::string xml;
};

template <typename T>
struct Result {
    bool ok = false;
    T value{};
    WmiError error{};
};

using Selectors = std::map<std::string, std::string>;  // key property -> value, as on the wire

class ComputerModel {
  public:
    virtual ~ComputerModel() = default;

    virtual std::string HostName() const = 0;
    // True when the WMI namespace ("root/cimv2", "root/WebAdministration", ...) exists; case-insensitive.
    virtual bool HasNamespace(const std::string& wmiNamespace) const = 0;
    // Runs a WQL query (SELECT, ASSOCIATORS OF, meta_class) in a namespace at the given moment (sampled
    // counters move with time). Items are rendered as Windows renders them for that namespace.
    virtual Result<std::vector<RenderedItem>> ExecQuery(const std::string& wmiNamespace,
                                                        const std::string& wql,
                                                        std::chrono::steady_clock::time_point now) = 0;
    // Get of one instance by class and keys (a singleton takes no selectors).
    virtual Result<RenderedItem> Get(const std::string& wmiNamespace, const std::string& className,
                                     const Selectors& selectors,
                                     std::chrono::steady_clock::time_point now) = 0;
    // Invoke of a method; inputXml is the <p:Method_INPUT> element. Returns the <p:Method_OUTPUT> element.
    virtual Result<RenderedItem> Invoke(const std::string& wmiNamespace, const std::string& className,
                                        const Selectors& selectors, const std::string& method,
                                        const std::string& inputXml,
                                        std::chrono::steady_clock::time_point now) = 0;
};

// Loads a bundled profile by name ("workstation", "server", "unhealthy") or a profile file by path.
// On a broken profile returns null and sets `error` to a message naming the file, place and problem.
std::unique_ptr<ComputerModel> LoadComputerModel(const std::string& nameOrPath, std::string& error);

}  // namespace qnsim
