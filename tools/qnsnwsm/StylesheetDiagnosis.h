// A check that failed in the module's record parser often means the stylesheets are not where the module
// looks. The module's texts do not say so; the front end checks the folder itself.
#pragma once

#include <string>

namespace qncli {

// For a record parser's error text: when the folder the configuration names (or, with none named, the
// installed data folder) lacks the stylesheets, a text naming that folder and the setting to change.
// "" otherwise.
std::string DiagnoseStylesheets(const std::string& moduleError);

}  // namespace qncli
