// The platform XML document on libxml2/libxslt.
#include <new>

#include "platform/FileSystem.h"
#include "platform/XmlDocument.h"
#include "platform/posix/XmlSafeParse.h"
#include "platform/posix/XmlTransform.h"

namespace qn::platform {

namespace {

class LibxmlDocument final : public XmlDocument {
  public:
    bool LoadText(std::string_view text) override { return Replace(posix::ParseUntrustedText(text)); }

    bool LoadFile(const char* modulePath) override {
        if (modulePath == nullptr || *modulePath == '\0') return Replace(nullptr);
        return Replace(posix::ParseUntrustedFile(MapModulePath(modulePath).c_str()));
    }

    std::optional<std::string> DocumentElementName() const override {
        const xmlNode* root = doc_ != nullptr ? xmlDocGetRootElement(doc_.get()) : nullptr;
        if (root == nullptr) return std::nullopt;
        std::string name;
        if (root->ns != nullptr && root->ns->prefix != nullptr) {
            name.append(reinterpret_cast<const char*>(root->ns->prefix)).push_back(':');
        }
        name.append(reinterpret_cast<const char*>(root->name));
        return name;
    }

    bool TransformNode(const XmlDocument& stylesheet, std::string& output) override {
        const auto* sheet = dynamic_cast<const LibxmlDocument*>(&stylesheet);
        if (doc_ == nullptr || sheet == nullptr || sheet->doc_ == nullptr) return false;
        // A stylesheet document is compiled once, on its first use, and again only after it is reloaded.
        if (sheet->compiled_ == nullptr) sheet->compiled_ = posix::CompileStylesheet(*sheet->doc_);
        return sheet->compiled_ != nullptr && posix::ApplyStylesheet(*sheet->compiled_, *doc_, output);
    }

  private:
    bool Replace(posix::UniqueXmlDoc doc) {
        compiled_.reset();
        doc_ = std::move(doc);
        return doc_ != nullptr;
    }

    posix::UniqueXmlDoc doc_;
    // This document compiled as a stylesheet (its own copy of the document); null until used as one.
    mutable posix::UniqueXsltStylesheet compiled_;
};

}  // namespace

std::unique_ptr<XmlDocument> CreateXmlDocument() {
    posix::EnsureXmlLibraryReady();
    return std::unique_ptr<XmlDocument>(new (std::nothrow) LibxmlDocument());
}

}  // namespace qn::platform
