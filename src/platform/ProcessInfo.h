// Facts about the running process.
#pragma once

#include <string>

namespace qn::platform {

// GetModuleFileNameA(NULL, ...): the full path of the executable; empty when unknown.
std::string ExecutableFilePath();

}  // namespace qn::platform
