// Shared plumbing of the libxml2/libxslt documents: one-time library set-up, owners for libxslt's objects
// (libxml2's are the client library's, with its one safe parse), and the reading of a stylesheet file.
#pragma once

#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>

#include <memory>
#include <string>

#include "wsman/core/UntrustedXml.h"
#include "wsman/core/XmlOwners.h"

namespace qn::platform::posix {

namespace xml = ::wsman::xml;

// Initialises libxml2 and libxslt once per process, before any thread uses them.
void EnsureXmlLibraryReady();

struct XsltStylesheetFree {
    void operator()(xsltStylesheet* style) const { xsltFreeStylesheet(style); }
};
struct XsltTransformContextFree {
    void operator()(xsltTransformContext* ctxt) const { xsltFreeTransformContext(ctxt); }
};
struct XsltSecurityPrefsFree {
    void operator()(xsltSecurityPrefs* prefs) const { xsltFreeSecurityPrefs(prefs); }
};

using UniqueXsltStylesheet = std::unique_ptr<xsltStylesheet, XsltStylesheetFree>;
using UniqueXsltTransformContext = std::unique_ptr<xsltTransformContext, XsltTransformContextFree>;
using UniqueXsltSecurityPrefs = std::unique_ptr<xsltSecurityPrefs, XsltSecurityPrefsFree>;

// The file at `path` (a POSIX path), read into `bytes` and parsed by xml::ParseUntrusted as a file: the path
// becomes the document's base URL and the encoding is the one the file declares. Null when it cannot be
// read or is not a well-formed document.
xml::DocPtr ParseUntrustedFile(const char* path, std::string& bytes);
xml::DocPtr ParseUntrustedFile(const char* path);

}  // namespace qn::platform::posix
