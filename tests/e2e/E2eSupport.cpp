#include "E2eSupport.h"

#include <stdlib.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace qn::e2e {

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qnsnwsm-e2e-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
    setenv("QNSNWSM_REGISTRY", (path_ / "registry.conf").c_str(), 1);
}

ScratchFolder::~ScratchFolder() {
    unsetenv("QNSNWSM_REGISTRY");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::vector<std::string> ReadTraceMessages(const std::filesystem::path& file) {
    static const std::regex stamp(R"(^\[\d\d:\d\d:\d\d\] )");
    std::vector<std::string> lines;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(std::regex_replace(line, stamp, "", std::regex_constants::format_first_only));
    }
    return lines;
}

std::string ReadWholeFile(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

}  // namespace qn::e2e
