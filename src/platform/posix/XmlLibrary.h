// Shared plumbing of the libxml2/libxslt documents: one-time library set-up, owners for the libraries'
// objects, and the silencing of their error printing.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>

#include <memory>

namespace qn::platform::posix {

// Initialises libxml2 and libxslt once per process, before any thread uses them.
void EnsureXmlLibraryReady();

struct XmlDocFree {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct XmlParserCtxtFree {
    void operator()(xmlParserCtxt* ctxt) const { xmlFreeParserCtxt(ctxt); }
};
struct XsltStylesheetFree {
    void operator()(xsltStylesheet* style) const { xsltFreeStylesheet(style); }
};
struct XsltTransformContextFree {
    void operator()(xsltTransformContext* ctxt) const { xsltFreeTransformContext(ctxt); }
};
struct XsltSecurityPrefsFree {
    void operator()(xsltSecurityPrefs* prefs) const { xsltFreeSecurityPrefs(prefs); }
};
struct XmlDictRelease {
    void operator()(xmlDict* dict) const { xmlDictFree(dict); }  // drops one reference
};
struct XmlOutputBufferClose {
    void operator()(xmlOutputBuffer* buffer) const { xmlOutputBufferClose(buffer); }
};

using UniqueXmlDoc = std::unique_ptr<xmlDoc, XmlDocFree>;
using UniqueXmlParserCtxt = std::unique_ptr<xmlParserCtxt, XmlParserCtxtFree>;
using UniqueXsltStylesheet = std::unique_ptr<xsltStylesheet, XsltStylesheetFree>;
using UniqueXsltTransformContext = std::unique_ptr<xsltTransformContext, XsltTransformContextFree>;
using UniqueXsltSecurityPrefs = std::unique_ptr<xsltSecurityPrefs, XsltSecurityPrefsFree>;
using UniqueXmlOutputBuffer = std::unique_ptr<xmlOutputBuffer, XmlOutputBufferClose>;
using UniqueXmlDict = std::unique_ptr<xmlDict, XmlDictRelease>;

// A structured error handler that drops the error (a template, so it fits the handler type of every
// libxml2 version: the error pointer became const in 2.12).
template <typename ErrorPointer>
void DiscardStructuredError(void*, ErrorPointer) {}

// While alive, libxml2 errors raised on this thread without a context handler of their own (XPath
// compilation inside libxslt, for one) are dropped instead of printed. libxml2 keeps these handlers per
// thread, so other threads are not affected.
class ThreadXmlErrorsSilenced {
  public:
    ThreadXmlErrorsSilenced();
    ~ThreadXmlErrorsSilenced();
    ThreadXmlErrorsSilenced(const ThreadXmlErrorsSilenced&) = delete;
    ThreadXmlErrorsSilenced& operator=(const ThreadXmlErrorsSilenced&) = delete;

  private:
    xmlStructuredErrorFunc previousStructured_;
    void* previousStructuredContext_;
    xmlGenericErrorFunc previousGeneric_;
    void* previousGenericContext_;
};

}  // namespace qn::platform::posix
