// A small self-contained test runner for the programs that run under Wine (GoogleTest has no mingw build
// in Debian), and their file helpers. Each test is a function; a test fails when one of its checks fails,
// when it throws, or when it checks nothing. main runs every test, or those whose name starts with argv[1];
// the last line of output is "N passed, N failed".
#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
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

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Paths as a program under Wine sees them (drive Z: is the Linux root) and files of the scratch folder.
inline std::string WinePath(const std::string& linuxPath) {
    std::string path = "Z:" + linuxPath;
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

// The installation folder with the stylesheets under Sys\Wsman, ending in a backslash.
inline std::string ShareFolder() {
    return WinePath(QN_SHARE_DIR) + "\\";
}

inline std::string ReadWholeFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    if (file) content << file.rdbuf();
    return content.str();
}

inline void WriteWholeFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary);
    if (!file.write(content.data(), static_cast<std::streamsize>(content.size())).flush())
        throw std::runtime_error("cannot write " + path);
}

// A fresh, empty folder under the scratch folder that the build creates.
inline std::string FreshFolder(const std::string& name) {
    const std::filesystem::path folder = std::filesystem::path(WinePath(QN_SCRATCH_DIR)) / name;
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder.string();
}

}  // namespace qn::wintest

#define QN_TEST(name)                                                                          \
    static void name();                                                                        \
    [[maybe_unused]] static const bool name##Registered = qn::wintest::Register(#name, &name); \
    static void name()

#define QN_CHECK(expression) \
    qn::wintest::Record(static_cast<bool>(expression), #expression, {}, __FILE__, __LINE__)
#define QN_CHECK_EQ(left, right) \
    qn::wintest::RecordEqual((left), (right), #left " == " #right, __FILE__, __LINE__)
