#include "WqlFuzzTarget.h"

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "model/ComputerModel.h"
#include "model/WqlQuery.h"

namespace {

qnsim::ComputerModel& Workstation() {
    static const std::unique_ptr<qnsim::ComputerModel> model = [] {
        std::string error;
        auto loaded = qnsim::LoadComputerModel("workstation", error);
        if (!loaded) std::abort();
        return loaded;
    }();
    return *model;
}

}  // namespace

void FuzzWqlQuery(const std::uint8_t* data, std::size_t size) {
    const std::string wql(reinterpret_cast<const char*>(data), size);
    const qnsim::WqlParseResult parsed = qnsim::ParseWql(wql);
    // Every input either parses or says why not.
    if (parsed.query.has_value() == !parsed.problem.empty()) std::abort();
    const auto result = Workstation().ExecQuery("root/cimv2", wql, std::chrono::steady_clock::time_point{});
    // The model refuses exactly what the parser refuses, and only with query or class errors.
    if (!parsed.query && result.ok) std::abort();
    if (!result.ok && result.error.kind != qnsim::WmiError::Kind::InvalidQuery &&
        result.error.kind != qnsim::WmiError::Kind::InvalidClass)
        std::abort();
}
