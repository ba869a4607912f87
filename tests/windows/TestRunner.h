// A small self-contained test runner for the programs that run under Wine (GoogleTest has no mingw build
// in Debian). Each test is a function; a test fails when one of its checks fails, when it throws, or when it
// checks nothing. The last line of output is "N passed, N failed".
#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace qn::wintest {

using TestFunction = void (*)();
bool Register(const char* name, TestFunction function);

// Records one check; `detail` explains a failure.
void Record(bool passed, const char* expression, const std::string& detail, const char* file, int line);

template <typename Left, typename Right>
void RecordEqual(const Left& left, const Right& right, const char* expression, const char* file, int line) {
    bool equal = false;
    if constexpr (std::is_convertible_v<Left, std::string_view> &&
                  std::is_convertible_v<Right, std::string_view>)
        equal = std::string_view(left) == std::string_view(right);
    else
        equal = left == right;
    std::ostringstream detail;
    if (!equal) detail << "[" << left << "] != [" << right << "]";
    Record(equal, expression, detail.str(), file, line);
}

// Runs every registered test, or those whose name starts with argv[1] (main calls it in the multithreaded
// apartment); returns the number of failures.
int RunAll(int argc, char** argv);

}  // namespace qn::wintest

#define QN_TEST(name)                                                                          \
    static void name();                                                                        \
    [[maybe_unused]] static const bool name##Registered = qn::wintest::Register(#name, &name); \
    static void name()

#define QN_CHECK(expression) \
    qn::wintest::Record(static_cast<bool>(expression), #expression, {}, __FILE__, __LINE__)
#define QN_CHECK_EQ(left, right) \
    qn::wintest::RecordEqual((left), (right), #left " == " #right, __FILE__, __LINE__)
