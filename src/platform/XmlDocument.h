// One XML document of the platform's parser with its XSLT 1.0 processor, shaped like the DOM document that
// Windows offers (loadXML, load, documentElement, transformNode), so that the record parser runs the same
// steps on every platform. POSIX builds it on libxml2/libxslt; Windows on MSXML.
//
// Documents are parsed defensively, since items come from the network: no DTD is accepted (a document with
// a DOCTYPE fails to load, as with MSXML's ProhibitDTD), no entity is expanded, nothing is fetched. A
// transformation may not write files, create folders, or read or write the network. Parse and transform
// errors are reported through the result only; nothing is printed.
//
// Distinct documents may be used on distinct threads at the same time; one document is used by one thread
// at a time.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "wsman/core/EnumeratedItem.h"

namespace qn::platform {

using wsman::EnumeratedItem;

class XmlDocument {
  public:
    virtual ~XmlDocument() = default;

    // loadXML: the document becomes `text` (module text: UTF-8 on POSIX; an encoding declaration inside the
    // text is ignored). False when the text is not well-formed or carries a DTD; the document is then empty.
    virtual bool LoadText(std::string_view text) = 0;

    // loadXML of an item the WinRM objects handed over. Its text is read like LoadText's, unless the item
    // carries the tree the platform's client read it into (POSIX), which is then taken as it is.
    virtual bool LoadItem(const EnumeratedItem& item) { return LoadText(item.Text()); }

    // Lets go of an item LoadItem took as it was: a POSIX item shares its memory with every item of its
    // reply, which a document kept between checks must not hold. The POSIX document is empty afterwards;
    // Windows' holds its own copy of one item, and keeps it.
    virtual void ReleaseItem() {}

    // load: the document becomes the content of the file that `modulePath` names (a module path, see
    // FileSystem.h). False when it cannot be read or is not well-formed; the document is then empty.
    virtual bool LoadFile(const char* modulePath) = 0;

    // documentElement's nodeName (with its prefix), or nothing for an empty document.
    virtual std::optional<std::string> DocumentElementName() const = 0;
    virtual bool HasDocumentElement() const { return DocumentElementName().has_value(); }

    // transformNode: applies `stylesheet` (a document loaded with an XSLT 1.0 stylesheet) to this document
    // and puts the result text into `output` (UTF-8 on POSIX, whatever encoding the stylesheet declares).
    // False when either document is empty, the stylesheet does not compile, or the transformation fails;
    // `output` is then unchanged. May strip whitespace text from this document as the stylesheet asks.
    // A stylesheet loaded with LoadFile from a file unchanged for 2 s is compiled once per thread and version
    // of the file (path, size, modification time), and that compiled form serves every document of the
    // thread.
    virtual bool TransformNode(const XmlDocument& stylesheet, std::string& output) = 0;

    // True for a stylesheet loaded from a file that stands where a stylesheet the platform applies natively
    // was shipped, but whose content differs (an edited WsmTxtEx.xsl on POSIX): it is applied by the general
    // XSLT processor, many times slower. Windows applies every stylesheet with MSXML and never says so.
    virtual bool ReplacesNativeStylesheet() const { return false; }
};

// The stand-in for CoCreateInstance of the DOM document class: null when no document can be created.
std::unique_ptr<XmlDocument> CreateXmlDocument();

}  // namespace qn::platform
