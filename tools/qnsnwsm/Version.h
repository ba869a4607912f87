// What --version prints: this program's version and the version of the library the loader gave it.
#pragma once

#include <string>

namespace qncli {

// "qnsnwsm 1.0.0\nlibqnsnwsm 1.0.0 (/usr/lib/.../libqnsnwsm.so.1.0.0)\n". The library's version is the one
// its file carries (libqnsnwsm.so.<version>), found through the file an export was loaded from.
std::string VersionText();

// The file the loader took the library from; empty when it cannot be told.
std::string LoadedLibraryFile();

}  // namespace qncli
