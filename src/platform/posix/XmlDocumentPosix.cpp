// The platform XML document on libxml2/libxslt.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <new>
#include <optional>
#include <string>
#include <vector>

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
        const std::string path = MapModulePath(modulePath);
        // Taken before the file is read: a write during the read leaves a newer time, which misses next time.
        std::optional<FileVersion> version = SettledVersion(path);
        const bool loaded = Replace(posix::ParseUntrustedFile(path.c_str()));
        if (loaded) version_ = std::move(version);
        return loaded;
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
        if (!sheet->version_) {
            posix::UniqueXsltStylesheet style = posix::CompileStylesheet(*sheet->doc_);
            return style != nullptr && posix::ApplyStylesheet(*style, *doc_, output);
        }
        xsltStylesheet* style = CompiledOnThisThread(*sheet->version_, *sheet->doc_);
        return style != nullptr && posix::ApplyStylesheet(*style, *doc_, output);
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

    bool Replace(posix::UniqueXmlDoc doc) {
        version_.reset();
        doc_ = std::move(doc);
        return doc_ != nullptr;
    }

    posix::UniqueXmlDoc doc_;
    // Set when the document was loaded from a settled file (see SettledVersion).
    std::optional<FileVersion> version_;
};

}  // namespace

std::unique_ptr<XmlDocument> CreateXmlDocument() {
    posix::EnsureXmlLibraryReady();
    return std::unique_ptr<XmlDocument>(new (std::nothrow) LibxmlDocument());
}

}  // namespace qn::platform
