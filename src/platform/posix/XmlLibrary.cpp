#include "platform/posix/XmlLibrary.h"

#include <libxml/xmlerror.h>
#include <libxslt/extensions.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltutils.h>

#include <cstdarg>
#include <mutex>

namespace qn::platform::posix {

namespace {

void DiscardGenericError(void*, const char*, ...) {}

}  // namespace

void EnsureXmlLibraryReady() {
    static std::once_flag once;
    std::call_once(once, [] {
        xmlInitParser();
        xsltInit();
        // libxslt creates its extension lock lazily and without a lock of its own (xsltInitGlobals); two
        // threads compiling their first stylesheets at once would each make one and leak the loser's.
        xsltInitGlobals();
        // libxslt reports stylesheet compilation errors through one process-wide function that prints to
        // stderr by default; a module inside a host process must not write there.
        xsltSetGenericErrorFunc(nullptr, DiscardGenericError);
    });
}

ThreadXmlErrorsSilenced::ThreadXmlErrorsSilenced()
    : previousStructured_(xmlStructuredError),
      previousStructuredContext_(xmlStructuredErrorContext),
      previousGeneric_(xmlGenericError),
      previousGenericContext_(xmlGenericErrorContext) {
    xmlSetStructuredErrorFunc(nullptr, DiscardStructuredError);
    xmlSetGenericErrorFunc(nullptr, DiscardGenericError);
}

ThreadXmlErrorsSilenced::~ThreadXmlErrorsSilenced() {
    xmlSetStructuredErrorFunc(previousStructuredContext_, previousStructured_);
    xmlSetGenericErrorFunc(previousGenericContext_, previousGeneric_);
}

}  // namespace qn::platform::posix
