// Files of the scratch folder for the tests.
#pragma once

#include <string>

namespace qn::wintest {

std::string ReadWholeFile(const std::string& path);
void WriteWholeFile(const std::string& path, const std::string& content);
void RemoveFile(const std::string& path);
// A fresh, empty folder under the scratch folder.
std::string FreshFolder(const std::string& name);

}  // namespace qn::wintest
