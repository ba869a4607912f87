// The platform XML document on libxml2/libxslt.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "parsing/native/BuiltinStylesheets.h"
#include "parsing/native/InstanceRecordWriter.h"
#include "platform/FileSystem.h"
#include "platform/XmlDocument.h"
#include "platform/posix/XmlLibrary.h"
#include "platform/posix/XmlTransform.h"
#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"

namespace qn::platform {

namespace {

namespace native = qn::parsing::native;
using wsman::xml::ItemTree;
using wsman::xml::ItemTreeParser;

class LibxmlDocument final : public XmlDocument {
  public:
    // An item is read into the compact tree alone; libxml2's document is made from its text only when a
    // stylesheet has to be applied by libxslt.
    bool LoadText(std::string_view text) override {
        Forget();
        tree_ = ItemParserOfThisThread().Parse(text, ownArena_);
        return tree_ != nullptr;
    }

    // The client read the item into its tree while reading the reply: it is used as it is, not read again.
    bool LoadItem(const EnumeratedItem& item) override {
        if (item.Tree() == nullptr) return LoadText(item.Text());
        Forget();
        sharedTree_ = item.Tree();  // holds the item's text too
        tree_ = sharedTree_.get();
        return true;
    }

    void ReleaseItem() override {
        if (sharedTree_ != nullptr) Forget();
    }

    bool LoadFile(const char* modulePath) override {
        Forget();
        if (modulePath == nullptr || *modulePath == '\0') return false;
        const std::string path = MapModulePath(modulePath);
        // Taken before the file is read: a write during the read leaves a newer time, which misses next time.
        std::optional<FileVersion> version = SettledVersion(path);
        std::string bytes;
        doc_ = posix::ParseUntrustedFile(path.c_str(), bytes);
        if (doc_ == nullptr) return false;
        version_ = std::move(version);
        builtin_ = native::RecognizeStylesheet(std::filesystem::path(path).filename().native(), bytes);
        if (builtin_ == native::BuiltinStylesheet::InstanceRecord) {
            // Its records are written natively; libxml2's document of it is needed only for an item the
            // writer declines, and a host keeps a loaded stylesheet per computer. The text is a fraction
            // of the document's size.
            doc_.reset();
            text_ = std::move(bytes);
            textUrl_ = path;
        }
        return true;
    }

    bool ReplacesNativeStylesheet() const override {
        return builtin_ == native::BuiltinStylesheet::EditedInstanceRecord;
    }

    // An item read into a tree has its element: the tree is made only of a well-formed document.
    bool HasDocumentElement() const override { return tree_ != nullptr || DocumentElementName().has_value(); }

    std::optional<std::string> DocumentElementName() const override {
        if (tree_ != nullptr) return tree_->RootName();
        const xmlDoc* doc = Document();
        const xmlNode* root = doc != nullptr ? xmlDocGetRootElement(doc) : nullptr;
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
        if (sheet == nullptr || !sheet->IsLoaded() || !IsLoaded()) return false;
        if (sheet->builtin_ == native::BuiltinStylesheet::InstanceRecord && tree_ != nullptr &&
            native::WriteInstanceRecord(*tree_, record_)) {
            output.swap(record_);  // both buffers are kept: no allocation per item
            return true;
        }
        xmlDoc* item = Document();
        xmlDoc* sheetDoc = sheet->Document();
        if (item == nullptr || sheetDoc == nullptr) return false;
        if (!sheet->version_) {
            posix::UniqueXsltStylesheet style = posix::CompileStylesheet(*sheetDoc);
            return style != nullptr && posix::ApplyStylesheet(*style, *item, output);
        }
        xsltStylesheet* style = CompiledOnThisThread(*sheet->version_, *sheetDoc);
        return style != nullptr && posix::ApplyStylesheet(*style, *item, output);
    }

  private:
    // A stylesheet file as it was read: its path, size and modification time.
    struct FileVersion {
        std::string path;
        std::uintmax_t size = 0;
        std::filesystem::file_time_type modified{};
        bool operator==(const FileVersion&) const = default;
    };
    struct CompiledFile {
        FileVersion version;
        posix::UniqueXsltStylesheet style;
    };

    // The file's version, when it identifies the content: a file modified within the last 2 s may be written
    // again within the same (coarse) timestamp, so it gets none and is compiled at every use.
    static std::optional<FileVersion> SettledVersion(const std::string& path) {
        std::error_code sizeError, timeError;
        const std::uintmax_t size = std::filesystem::file_size(path, sizeError);
        const auto modified = std::filesystem::last_write_time(path, timeError);
        if (sizeError || timeError ||
            modified + std::chrono::seconds(2) >= decltype(modified)::clock::now()) {
            return std::nullopt;
        }
        return FileVersion{path, size, modified};
    }

    // Compiled stylesheets of this thread, one per file, shared by every document the thread transforms with
    // (a host serves many computers from few threads) and never used by two threads. A new version of a file
    // replaces its entry.
    static xsltStylesheet* CompiledOnThisThread(const FileVersion& version, xmlDoc& sheet) {
        thread_local std::vector<CompiledFile> compiled;
        auto entry = std::find_if(compiled.begin(), compiled.end(), [&](const CompiledFile& file) {
            return file.version.path == version.path;
        });
        if (entry != compiled.end() && entry->version == version) return entry->style.get();
        posix::UniqueXsltStylesheet style = posix::CompileStylesheet(sheet);
        if (style == nullptr) return nullptr;
        if (entry == compiled.end()) entry = compiled.insert(compiled.end(), CompiledFile{version, nullptr});
        *entry = CompiledFile{version, std::move(style)};
        return entry->style.get();
    }

    bool IsLoaded() const { return doc_ != nullptr || tree_ != nullptr || !text_.empty(); }

    void Forget() {
        tree_ = nullptr;
        ownArena_.Clear();
        sharedTree_.reset();
        text_.clear();
        textUrl_.clear();
        doc_.reset();
        version_.reset();
        builtin_ = native::BuiltinStylesheet::None;
    }

    // libxml2's document: the file's, or one made now from the item's or the file's text (which parsed once
    // already).
    xmlDoc* Document() const {
        if (doc_ != nullptr) return doc_.get();
        if (tree_ != nullptr) {
            doc_ = wsman::xml::ParseUntrusted(tree_->Source());
        } else if (!text_.empty()) {
            doc_ = wsman::xml::ParseUntrusted(text_, textUrl_.empty() ? nullptr : textUrl_.c_str());
        }
        return doc_.get();
    }

    // One parser per thread, not per document: a host keeps a document per computer, and a parser context
    // with its buffers costs more than the item it read. A tree keeps the dictionary its names live in.
    static ItemTreeParser& ItemParserOfThisThread() {
        thread_local ItemTreeParser parser;
        return parser;
    }

    // The item's tree, which holds its text: read here from the text (into ownArena_, whose memory is
    // reused from item to item) or the client's.
    const ItemTree* tree_ = nullptr;
    wsman::xml::ItemArena ownArena_;
    std::shared_ptr<const ItemTree> sharedTree_;
    std::string text_;                // a natively written stylesheet's text
    std::string textUrl_;             // the stylesheet file's path, for libxml2's document of it
    std::string record_;              // the record being written natively; it changes place with the output
    mutable wsman::xml::DocPtr doc_;  // a file's document, or the item's once libxslt needed it
    // Set when the document was loaded from a settled file (see SettledVersion).
    std::optional<FileVersion> version_;
    // Set when the document was loaded from a shipped stylesheet file that has a native equivalent.
    native::BuiltinStylesheet builtin_ = native::BuiltinStylesheet::None;
};

}  // namespace

std::unique_ptr<XmlDocument> CreateXmlDocument() {
    posix::EnsureXmlLibraryReady();
    return std::unique_ptr<XmlDocument>(new (std::nothrow) LibxmlDocument());
}

}  // namespace qn::platform
