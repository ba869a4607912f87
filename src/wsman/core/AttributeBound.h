// A bound libxml2 cannot keep itself: before 2.12 it compares every attribute of an element with every
// other (duplicate check, tree building), so one element with tens of thousands of attributes costs
// seconds of CPU. Every reply is measured against this bound in one linear pass before it is parsed.
#pragma once

#include <cstddef>
#include <string_view>

namespace wsman::xml {

// Far above any element WinRM sends (a handful of attributes and namespace declarations).
inline constexpr std::size_t kMaxAttributesPerElement = 256;

// False when some start tag of `text` carries more than kMaxAttributesPerElement attributes (namespace
// declarations included). Text that is not well-formed passes: the parser refuses it.
bool AttributesWithinBound(std::string_view text);

}  // namespace wsman::xml
