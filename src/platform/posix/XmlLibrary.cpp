#include "platform/posix/XmlLibrary.h"

#include <libxslt/extensions.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

#include <mutex>

#include "platform/posix/LockedFileUpdate.h"

namespace qn::platform::posix {

namespace {

void DiscardGenericError(void*, const char*, ...) {}

}  // namespace

void EnsureXmlLibraryReady() {
    static std::once_flag once;
    std::call_once(once, [] {
        xml::EnsureXmlParserReady();
        xsltInit();
        // libxslt creates its extension lock lazily and without a lock of its own (xsltInitGlobals); two
        // threads compiling their first stylesheets at once would each make one and leak the loser's.
        xsltInitGlobals();
        // libxslt reports stylesheet compilation errors through one process-wide function that prints to
        // stderr by default; a module inside a host process must not write there.
        xsltSetGenericErrorFunc(nullptr, DiscardGenericError);
    });
}

xml::DocPtr ParseUntrustedFile(const char* path, std::string& bytes) {
    bytes.clear();
    if (path == nullptr || *path == '\0') return nullptr;
    // Read here rather than by the parser, so that the caller sees exactly the bytes that were parsed. A
    // folder or an I/O error is a failed read.
    if (ReadWholeFile(path, bytes) != FileOutcome::kOk) return nullptr;
    return xml::ParseUntrusted(bytes, path);
}

xml::DocPtr ParseUntrustedFile(const char* path) {
    std::string bytes;
    return ParseUntrustedFile(path, bytes);
}

}  // namespace qn::platform::posix
