#include "platform/posix/XmlTransform.h"

#include <libxslt/xsltutils.h>

namespace qn::platform::posix {

namespace {

void DiscardTransformError(void*, const char*, ...) {}

UniqueXsltSecurityPrefs NewRestrictivePrefs() {
    UniqueXsltSecurityPrefs prefs(xsltNewSecurityPrefs());
    if (prefs == nullptr) return nullptr;
    for (xsltSecurityOption option : {XSLT_SECPREF_WRITE_FILE, XSLT_SECPREF_CREATE_DIRECTORY,
                                      XSLT_SECPREF_READ_NETWORK, XSLT_SECPREF_WRITE_NETWORK}) {
        if (xsltSetSecurityPrefs(prefs.get(), option, xsltSecurityForbid) != 0) return nullptr;
    }
    return prefs;
}

int AppendToString(void* context, const char* bytes, int length) {
    if (length > 0) static_cast<std::string*>(context)->append(bytes, static_cast<std::size_t>(length));
    return length;
}

bool Serialise(xmlDoc& result, xsltStylesheet& style, std::string& text) {
    // No encoder: the buffer receives UTF-8, the library's own encoding, whatever xsl:output declares.
    xml::OutputBufferPtr buffer(xmlOutputBufferCreateIO(AppendToString, nullptr, &text, nullptr));
    if (buffer == nullptr) return false;
    const bool written = xsltSaveResultTo(buffer.get(), &result, &style) >= 0;
    return xmlOutputBufferClose(buffer.release()) >= 0 && written;
}

}  // namespace

UniqueXsltStylesheet CompileStylesheet(xmlDoc& stylesheetDoc) {
    EnsureXmlLibraryReady();
    xml::DocPtr copy(xmlCopyDoc(&stylesheetDoc, 1));
    if (copy == nullptr) return nullptr;
    xml::ThreadXmlErrorsSilenced silenced;
    UniqueXsltStylesheet style(xsltParseStylesheetDoc(copy.get()));
    if (style == nullptr || style->errors != 0) {
        // On failure libxslt may or may not have taken the document; it owns it once a stylesheet exists.
        if (style != nullptr) copy.release();
        return nullptr;
    }
    copy.release();  // now owned by the stylesheet
    return style;
}

bool ApplyStylesheet(xsltStylesheet& style, xmlDoc& source, std::string& output) {
    xml::ThreadXmlErrorsSilenced silenced;
    UniqueXsltTransformContext ctxt(xsltNewTransformContext(&style, &source));
    UniqueXsltSecurityPrefs prefs = NewRestrictivePrefs();
    if (ctxt == nullptr || prefs == nullptr) return false;
    xsltSetTransformErrorFunc(ctxt.get(), nullptr, DiscardTransformError);
    if (xsltSetCtxtSecurityPrefs(prefs.get(), ctxt.get()) != 0) return false;

    xml::DocPtr result(xsltApplyStylesheetUser(&style, &source, nullptr, nullptr, nullptr, ctxt.get()));
    if (result == nullptr || ctxt->state != XSLT_STATE_OK) return false;

    std::string text;
    if (!Serialise(*result, style, text)) return false;
    output = std::move(text);
    return true;
}

}  // namespace qn::platform::posix
