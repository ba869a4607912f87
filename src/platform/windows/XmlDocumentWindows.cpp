// The platform XML document on MSXML's DOM document (COM, in the caller's apartment).
//
// Items come from the network, so both documents refuse DTDs and external resolution, and a stylesheet may
// run no script and open no other document. MSXML versions that do not know one of these properties keep
// their own (safe) defaults.
// clang-format off
#include <windows.h>
#include <msxml2.h>
// clang-format on

#include <exception>
#include <new>

#include "platform/XmlDocument.h"
#include "platform/windows/Bstr.h"
#include "platform/windows/ComPtr.h"
#include "platform/windows/MsxmlGuids.h"
#include "platform/windows/Variant.h"

namespace qn::platform {

namespace {

using windows::Bstr;
using windows::ComPtr;
using windows::Variant;

void SetBooleanProperty(IXMLDOMDocument2& document, const char* name, bool value) {
    document.setProperty(Bstr(name).Get(), Variant::Boolean(value).Get());
}

class MsxmlDocument final : public XmlDocument {
  public:
    explicit MsxmlDocument(ComPtr<IXMLDOMDocument> document) : document_(std::move(document)) {}

    bool LoadText(std::string_view text) override {
        try {
            const Bstr xml(text);
            VARIANT_BOOL loaded = VARIANT_FALSE;
            const HRESULT hr = document_->loadXML(xml.Get(), &loaded);
            return Accept(SUCCEEDED(hr) && loaded == VARIANT_TRUE);
        } catch (const std::exception&) {
            return Accept(false);
        }
    }

    bool LoadFile(const char* modulePath) override {
        if (modulePath == nullptr || *modulePath == '\0') return Accept(false);
        try {
            // Files here are stylesheets: their newline-only xsl:text nodes must survive parsing, which some
            // MSXML implementations drop unless white space is preserved.
            document_->put_preserveWhiteSpace(VARIANT_TRUE);
            const Variant path{Bstr(modulePath)};
            VARIANT_BOOL loaded = VARIANT_FALSE;
            const HRESULT hr = document_->load(path.Get(), &loaded);
            return Accept(SUCCEEDED(hr) && loaded == VARIANT_TRUE);
        } catch (const std::exception&) {
            return Accept(false);
        }
    }

    std::optional<std::string> DocumentElementName() const override {
        ComPtr<IXMLDOMElement> root;
        if (!loaded_ || FAILED(document_->get_documentElement(root.Receive())) || !root) return std::nullopt;
        Bstr name;
        if (FAILED(root->get_nodeName(name.Receive()))) return std::nullopt;
        return name.ToAnsi();
    }

    bool TransformNode(const XmlDocument& stylesheet, std::string& output) override {
        const auto* sheet = dynamic_cast<const MsxmlDocument*>(&stylesheet);
        if (sheet == nullptr || !HasRoot() || !sheet->HasRoot()) return false;
        try {
            Bstr result;
            const HRESULT hr = document_->transformNode(sheet->document_.Get(), result.Receive());
            if (FAILED(hr) || result.Get() == nullptr) return false;
            output = result.ToAnsi();
            return true;
        } catch (const std::exception&) {
            return false;
        }
    }

  private:
    bool HasRoot() const {
        ComPtr<IXMLDOMElement> root;
        return loaded_ && SUCCEEDED(document_->get_documentElement(root.Receive())) && root;
    }

    // A document type declaration is refused even where the parser does not honour ProhibitDTD. A refused
    // or failed load leaves the document empty, whatever the parser kept.
    bool Accept(bool loaded) {
        ComPtr<IXMLDOMDocumentType> doctype;
        loaded_ = loaded && !(SUCCEEDED(document_->get_doctype(doctype.Receive())) && doctype);
        return loaded_;
    }

    ComPtr<IXMLDOMDocument> document_;
    bool loaded_ = false;
};

bool Configure(IXMLDOMDocument& document) {
    if (FAILED(document.put_async(VARIANT_FALSE))) return false;
    document.put_validateOnParse(VARIANT_FALSE);
    document.put_resolveExternals(VARIANT_FALSE);
    ComPtr<IXMLDOMDocument2> extended;
    if (SUCCEEDED(document.QueryInterface(windows::kIidXmlDomDocument2, extended.ReceiveVoid())) &&
        extended) {
        SetBooleanProperty(*extended.Get(), "ProhibitDTD", true);
        SetBooleanProperty(*extended.Get(), "AllowXsltScript", false);
        SetBooleanProperty(*extended.Get(), "AllowDocumentFunction", false);
    }
    return true;
}

}  // namespace

std::unique_ptr<XmlDocument> CreateXmlDocument() {
    ComPtr<IXMLDOMDocument> document;
    const HRESULT hr =
        CoCreateInstance(windows::kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER | CLSCTX_LOCAL_SERVER,
                         windows::kIidXmlDomDocument, document.ReceiveVoid());
    if (FAILED(hr) || !document || !Configure(*document.Get())) return nullptr;
    return std::unique_ptr<XmlDocument>(new (std::nothrow) MsxmlDocument(std::move(document)));
}

}  // namespace qn::platform
