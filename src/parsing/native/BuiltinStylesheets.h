// Stylesheet files of the installation that have a native equivalent, recognised by their exact content.
#pragma once

#include <string_view>

namespace qn::parsing::native {

enum class BuiltinStylesheet {
    None,                  // any other file: applied with libxslt
    InstanceRecord,        // WsmTxtEx.xsl as shipped: see InstanceRecordWriter.h
    EditedInstanceRecord,  // a file named WsmTxtEx.xsl with other content: applied with libxslt, slowly
};

// Which shipped stylesheet the file of that name (the last part of its path) and these bytes is.
BuiltinStylesheet RecognizeStylesheet(std::string_view fileName, std::string_view fileBytes);

}  // namespace qn::parsing::native
