// A tiny computer for the server's tests: root/cimv2 with Win32_Service (a chosen number of services),
// Win32_OperatingSystem (a singleton) and Big_Class (items of a chosen size), and a Win32_Service method.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>

#include "model/ComputerModel.h"

namespace qnsim::test {

class FakeComputerModel : public ComputerModel {
  public:
    explicit FakeComputerModel(int services = 5, std::size_t bigItemBytes = 2000)
        : services_(services), bigItemBytes_(bigItemBytes) {}

    std::string HostName() const override { return "SIMHOST"; }
    bool HasNamespace(const std::string& wmiNamespace) const override {
        return Lower(wmiNamespace) == "root/cimv2";
    }

    Result<std::vector<RenderedItem>> ExecQuery(const std::string& wmiNamespace, const std::string& wql,
                                                std::chrono::steady_clock::time_point) override {
        Result<std::vector<RenderedItem>> result;
        const std::string lower = Lower(wql);
        const std::size_t from = lower.find(" from ");
        if (lower.rfind("select ", 0) != 0 || from == std::string::npos || !HasNamespace(wmiNamespace)) {
            result.error = {WmiError::Kind::InvalidQuery, 0x80041017, "Invalid query"};
            return result;
        }
        std::string className = lower.substr(from + 6);
        className = className.substr(0, className.find(' '));
        if (className == "win32_service") {
            for (int i = 0; i < services_; ++i) result.value.push_back({Service(i)});
        } else if (className == "big_class") {
            for (int i = 0; i < 3; ++i)
                result.value.push_back(
                    {"<p:Big_Class xmlns:p=\"http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/"
                     "Big_Class\"><p:Data>" +
                     std::string(bigItemBytes_, 'x') + "</p:Data></p:Big_Class>"});
        } else if (className != "win32_empty") {
            result.error = {WmiError::Kind::InvalidClass, 0x80041010, "Invalid class "};
            return result;
        }
        result.ok = true;
        return result;
    }

    Result<RenderedItem> Get(const std::string&, const std::string& className, const Selectors& selectors,
                             std::chrono::steady_clock::time_point) override {
        Result<RenderedItem> result;
        if (Lower(className) == "win32_operatingsystem") {
            result.ok = true;
            result.value.xml = "<p:Win32_OperatingSystem xmlns:p=\"" + Uri("Win32_OperatingSystem") +
                               "\"><p:BuildNumber>17763</p:BuildNumber></p:Win32_OperatingSystem>";
            return result;
        }
        if (Lower(className) == "win32_service") {
            auto name = selectors.find("Name");
            if (name == selectors.end() || selectors.size() != 1) {
                result.error = {WmiError::Kind::InvalidSelectors, 0, ""};
                return result;
            }
            for (int i = 0; i < services_; ++i)
                if (name->second == "svc" + std::to_string(i)) {
                    result.ok = true;
                    result.value.xml = Service(i);
                    return result;
                }
            result.error = {WmiError::Kind::NotFound, 0x80041002, "Not found "};
            return result;
        }
        result.error = {WmiError::Kind::InvalidClass, 0x80041010, "Invalid class "};
        return result;
    }

    Result<RenderedItem> Invoke(const std::string&, const std::string& className, const Selectors&,
                                const std::string& method, const std::string& inputXml,
                                std::chrono::steady_clock::time_point) override {
        Result<RenderedItem> result;
        lastInvokeInput = inputXml;
        if (Lower(className) != "win32_service" || method != "StopService") {
            result.error = {WmiError::Kind::InvalidMethod, 0x80041055, "Method not implemented "};
            return result;
        }
        result.ok = true;
        result.value.xml = "<p:StopService_OUTPUT xmlns:p=\"" + Uri("Win32_Service") +
                           "\"><p:ReturnValue>0</p:ReturnValue></p:StopService_OUTPUT>";
        return result;
    }

    std::string lastInvokeInput;

  private:
    static std::string Lower(std::string text) {
        std::transform(text.begin(), text.end(), text.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        return text;
    }
    static std::string Uri(const std::string& className) {
        return "http://schemas.microsoft.com/wbem/wsman/1/wmi/root/cimv2/" + className;
    }
    static std::string Service(int i) {
        return "<p:Win32_Service xmlns:p=\"" + Uri("Win32_Service") + "\"><p:Name>svc" + std::to_string(i) +
               "</p:Name><p:State>Running</p:State></p:Win32_Service>";
    }

    int services_;
    std::size_t bigItemBytes_;
};

}  // namespace qnsim::test
