// A simulated computer whose instances and method outputs the test sets, for the simulator's server.
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "Instances.h"
#include "model/ComputerModel.h"

namespace qntest {

// Answers "select ... from <Class>" with every instance added for the class (the select list and the
// condition are not evaluated), Get by the keys given, and Invoke with the output set for the method.
// Unknown classes and methods fail as on Windows; an ASSOCIATORS OF query with unbalanced quotes is a
// syntax error and otherwise answers what AddQuery gave it. Records queries and calls. Thread-safe.
class CannedComputer final : public qnsim::ComputerModel {
  public:
    struct Call {
        std::string wmiNamespace, className, method, input;
        qnsim::Selectors selectors;
    };

    explicit CannedComputer(std::vector<std::string> namespaces = {"root/cimv2"},
                            std::string hostName = "PC1")
        : namespaces_(std::move(namespaces)), hostName_(std::move(hostName)) {}

    void Add(const std::string& className, const Properties& properties,
             const std::string& wmiNamespace = "root/cimv2");
    void AddItem(const std::string& className, std::string xml,
                 const std::string& wmiNamespace = "root/cimv2");
    // The class exists, without instances (those added before are dropped).
    void Declare(const std::string& className, const std::string& wmiNamespace = "root/cimv2");
    void AddQuery(const std::string& wql, const std::string& xml);
    void SetOutput(const std::string& method, const Properties& properties);

    std::vector<Call> Calls() const;
    std::string LastQuery() const;

    std::string HostName() const override { return hostName_; }
    bool HasNamespace(const std::string& wmiNamespace) const override;
    qnsim::Result<std::vector<qnsim::RenderedItem>> ExecQuery(const std::string& wmiNamespace,
                                                              const std::string& wql,
                                                              std::chrono::steady_clock::time_point) override;
    qnsim::Result<qnsim::RenderedItem> Get(const std::string& wmiNamespace, const std::string& className,
                                           const qnsim::Selectors& selectors,
                                           std::chrono::steady_clock::time_point) override;
    qnsim::Result<qnsim::RenderedItem> Invoke(const std::string& wmiNamespace, const std::string& className,
                                              const qnsim::Selectors& selectors, const std::string& method,
                                              const std::string& inputXml,
                                              std::chrono::steady_clock::time_point) override;

  private:
    using Key = std::pair<std::string, std::string>;  // lower-case namespace and class
    static Key KeyOf(const std::string& wmiNamespace, const std::string& className);

    mutable std::mutex mutex_;
    std::vector<std::string> namespaces_;
    std::string hostName_;
    std::map<Key, std::vector<std::string>> instances_;
    std::map<std::string, std::vector<std::string>> queries_;
    std::map<std::string, Properties> outputs_;
    std::vector<Call> calls_;
    std::string lastQuery_;
};

}  // namespace qntest
