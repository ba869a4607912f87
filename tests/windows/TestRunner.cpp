#include "TestRunner.h"

#include <cstdio>
#include <exception>
#include <vector>

namespace qn::wintest {

namespace {

struct Test {
    const char* name;
    TestFunction function;
};

std::vector<Test>& Tests() {
    static std::vector<Test> tests;
    return tests;
}

struct Current {
    int checks = 0;
    int failures = 0;
};
Current g_current;

}  // namespace

Registrar::Registrar(const char* name, TestFunction function) {
    Tests().push_back({name, function});
}

void Record(bool passed, const char* expression, const std::string& detail, const char* file, int line) {
    ++g_current.checks;
    if (passed) return;
    ++g_current.failures;
    std::printf("  %s:%d: check failed: %s%s%s\n", file, line, expression, detail.empty() ? "" : "\n    ",
                detail.c_str());
}

int RunAll(int argc, char** argv) {
    const std::string_view filter = argc > 1 ? argv[1] : "";
    int passed = 0;
    int failed = 0;
    for (const Test& test : Tests()) {
        if (!std::string_view(test.name).starts_with(filter)) continue;
        g_current = {};
        std::string problem;
        try {
            test.function();
        } catch (const std::exception& error) {
            problem = std::string("threw: ") + error.what();
        } catch (...) {
            problem = "threw a non-standard exception";
        }
        if (problem.empty() && g_current.checks == 0) problem = "checked nothing";
        const bool ok = problem.empty() && g_current.failures == 0;
        std::printf("[%s] %s%s%s\n", ok ? "PASS" : "FAIL", test.name, problem.empty() ? "" : ": ",
                    problem.c_str());
        ok ? ++passed : ++failed;
        std::fflush(stdout);
    }
    std::printf("%d passed, %d failed\n", passed, failed);
    return failed;
}

}  // namespace qn::wintest
