// Helpers shared by the model tests: loading bundled profiles once and reading rendered items.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "model/ComputerModel.h"
#include "model/SimulatedComputer.h"

namespace qnsim::test {

inline std::unique_ptr<SimulatedComputer> LoadBundled(const std::string& name) {
    std::string error;
    std::unique_ptr<ComputerModel> model = LoadComputerModel(name, error);
    EXPECT_TRUE(model) << error;
    return std::unique_ptr<SimulatedComputer>(dynamic_cast<SimulatedComputer*>(model.release()));
}

inline std::vector<RenderedItem> Query(
    ComputerModel& model, const std::string& wql, const std::string& wmiNamespace = "root/cimv2",
    std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now()) {
    Result<std::vector<RenderedItem>> result = model.ExecQuery(wmiNamespace, wql, now);
    EXPECT_TRUE(result.ok) << wql << ": " << result.error.message;
    return result.value;
}

// The text of the first <p:Name> or <Name> element of an item; empty when absent or nil.
inline std::string PropertyText(const std::string& xml, const std::string& property) {
    for (const std::string& open : {"<p:" + property + ">", "<" + property + ">"})
        if (const std::size_t start = xml.find(open); start != std::string::npos)
            return xml.substr(start + open.size(), xml.find('<', start + open.size()) - start - open.size());
    return {};
}

}  // namespace qnsim::test
