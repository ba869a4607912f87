// Stylesheet files of the installation that have a native equivalent, recognised by their exact content.
#pragma once

#include <string_view>

namespace qn::platform::posix {

enum class BuiltinStylesheet {
    None,            // any other file: applied with libxslt
    InstanceRecord,  // WsmTxtEx.xsl as shipped: see InstanceRecordWriter.h
};

// Which shipped stylesheet these file bytes are; an edited copy of one is None.
BuiltinStylesheet RecognizeStylesheet(std::string_view fileBytes);

}  // namespace qn::platform::posix
