// The server tests' computer: SIMHOST with root/cimv2, `services` services svc0, svc1, ... (Running), the
// singleton Win32_OperatingSystem, three Big_Class items of `bigItemBytes` each, the empty Win32_Empty and
// the StopService method.
#pragma once

#include <memory>
#include <string>

#include "CannedComputer.h"

namespace qnsim::test {

inline std::unique_ptr<qntest::CannedComputer> FakeComputer(int services = 5,
                                                            std::size_t bigItemBytes = 2000) {
    auto computer =
        std::make_unique<qntest::CannedComputer>(std::vector<std::string>{"root/cimv2"}, "SIMHOST");
    for (int i = 0; i < services; ++i) {
        computer->Add("Win32_Service", {{"Name", "svc" + std::to_string(i)}, {"State", "Running"}});
    }
    computer->Add("Win32_OperatingSystem", {{"BuildNumber", "17763"}});
    for (int i = 0; i < 3; ++i) computer->Add("Big_Class", {{"Data", std::string(bigItemBytes, 'x')}});
    computer->Declare("Win32_Empty");
    computer->SetOutput("StopService", {{"ReturnValue", "0"}});
    return computer;
}

}  // namespace qnsim::test
