// Text comparisons as WMI makes them: ASCII letters folded, other bytes compared as they are.
#pragma once

#include <string>
#include <string_view>

namespace qnsim {

std::string ToLowerAscii(std::string_view text);
bool EqualsIgnoreCaseAscii(std::string_view left, std::string_view right);
int CompareIgnoreCaseAscii(std::string_view left, std::string_view right);
std::string EscapeXmlText(std::string_view text);
std::string EscapeXmlAttribute(std::string_view text);

}  // namespace qnsim
