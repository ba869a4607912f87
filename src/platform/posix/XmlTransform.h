// XSLT 1.0 on libxslt: compiling a stylesheet document and applying it under a restrictive security policy.
#pragma once

#include <string>

#include "platform/posix/XmlLibrary.h"

namespace qn::platform::posix {

// Compiles a copy of `stylesheetDoc` (which stays the caller's). Null when it is not an XSLT stylesheet.
UniqueXsltStylesheet CompileStylesheet(xmlDoc& stylesheetDoc);

// Applies `style` to `source` and serialises the result as UTF-8 into `output`. The transformation may read
// local files (document()) but may not write files, create folders or touch the network. False on any error,
// leaving `output` unchanged.
bool ApplyStylesheet(xsltStylesheet& style, xmlDoc& source, std::string& output);

}  // namespace qn::platform::posix
