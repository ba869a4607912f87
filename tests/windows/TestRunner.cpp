// The tests run in the multithreaded apartment, where the module expects its callers.
#include "TestRunner.h"

#include <objbase.h>

#include <cstdio>
#include <exception>
#include <utility>
#include <vector>

namespace qn::wintest {

namespace {

std::vector<std::pair<const char*, TestFunction>>& Tests() {
    static std::vector<std::pair<const char*, TestFunction>> tests;
    return tests;
}

int g_checks = 0;
int g_failures = 0;

}  // namespace

bool Register(const char* name, TestFunction function) {
    Tests().emplace_back(name, function);
    return true;
}

void Record(bool passed, const char* expression, const std::string& detail, const char* file, int line) {
    ++g_checks;
    if (passed) return;
    ++g_failures;
    std::printf("  %s:%d: check failed: %s%s%s\n", file, line, expression, detail.empty() ? "" : "\n    ",
                detail.c_str());
}

namespace {

int RunAll(int argc, char** argv) {
    const std::string_view filter = argc > 1 ? argv[1] : "";
    int passed = 0;
    int failed = 0;
    for (const auto& [name, function] : Tests()) {
        if (!std::string_view(name).starts_with(filter)) continue;
        g_checks = g_failures = 0;
        std::string problem;
        try {
            function();
        } catch (const std::exception& error) {
            problem = std::string("threw: ") + error.what();
        } catch (...) {
            problem = "threw a non-standard exception";
        }
        if (problem.empty() && g_checks == 0) problem = "checked nothing";
        const bool ok = problem.empty() && g_failures == 0;
        std::printf("[%s] %s%s%s\n", ok ? "PASS" : "FAIL", name, problem.empty() ? "" : ": ",
                    problem.c_str());
        ok ? ++passed : ++failed;
        std::fflush(stdout);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed;
}

}  // namespace

}  // namespace qn::wintest

int main(int argc, char** argv) {
    const HRESULT entered = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    const int failures = qn::wintest::RunAll(argc, argv);
    if (SUCCEEDED(entered)) CoUninitialize();
    return failures == 0 ? 0 : 1;
}
