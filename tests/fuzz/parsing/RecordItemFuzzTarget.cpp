#include "RecordItemFuzzTarget.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "parsing/CSnWinrmNode.h"
#include "parsing/RecordLookup.h"
#include "parsing/native/InstanceRecordWriter.h"
#include "platform/posix/XmlLibrary.h"
#include "platform/posix/XmlTransform.h"
#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"

namespace {

char g_storePath[] = "/tmp/qnparsing-fuzz-XXXXXX";

void RemoveStore() {
    std::remove(g_storePath);
}

// A configuration store of the fuzzer's own, naming the source tree's data folder as the program folder.
void PointProgramFolderAtSourceTree() {
    const int fd = ::mkstemp(g_storePath);
    if (fd < 0) std::abort();
    const std::string store =
        "[HKEY_LOCAL_MACHINE\\Software\\Quillon\\Sentrel]\nProgFilesFolder=" QN_DATA_SOURCE_DIR "/\n";
    if (::write(fd, store.data(), store.size()) != static_cast<ssize_t>(store.size())) std::abort();
    ::close(fd);
    std::atexit(RemoveStore);
    ::setenv("QNSNWSM_REGISTRY", g_storePath, 1);
    ::setenv("QNSNWSM_STATE", g_storePath, 1);  // the module's write-backs stay in the scratch file
}

struct Parsers {
    Parsers() {
        PointProgramFolderAtSourceTree();
        instances = std::make_unique<CSnWinrmNode>("");
        propertyNames = std::make_unique<CSnWinrmNode>("");
        propertyNames->SetStylesheet(kPropertyNamesStylesheet);
    }
    std::unique_ptr<CSnWinrmNode> instances;
    std::unique_ptr<CSnWinrmNode> propertyNames;
};

Parsers& SharedParsers() {
    static Parsers parsers;
    return parsers;
}

// Every line of a record ends with CR LF and none is empty or holds another line break: an empty line
// would hide the properties after it.
void RequireOneLinePerEntry(std::string_view record, bool nameValueLines) {
    while (!record.empty()) {
        const std::size_t end = record.find("\r\n");
        if (end == std::string_view::npos || end == 0) std::abort();
        const std::string_view line = record.substr(0, end);
        if (line.find_first_of("\r\n") != std::string_view::npos) std::abort();
        if (nameValueLines && line.find(":=") == std::string_view::npos) std::abort();
        record.remove_prefix(end + 2);
    }
}

// The native record writer and libxslt applying WsmTxtEx.xsl must agree on every item the writer takes.
void RequireWriterAgreesWithLibxslt(const std::string& item) {
    namespace posix = qn::platform::posix;
    namespace native = qn::parsing::native;
    static const wsman::xml::DocPtr sheet =
        posix::ParseUntrustedFile(QN_DATA_SOURCE_DIR "/Sys/Wsman/WsmTxtEx.xsl");
    static const posix::UniqueXsltStylesheet style = posix::CompileStylesheet(*sheet);
    if (style == nullptr) std::abort();
    static wsman::xml::ItemTreeParser parser;
    wsman::xml::ItemArena arena;
    const wsman::xml::DocPtr doc = wsman::xml::ParseUntrusted(item);
    // The compact tree and libxml2's document accept the same texts.
    const wsman::xml::ItemTree* tree = parser.Parse(item, arena);
    if ((tree != nullptr) != (doc != nullptr)) std::abort();
    std::string written;
    if (doc == nullptr || !native::WriteInstanceRecord(*tree, written)) return;
    std::string transformed;
    if (!posix::ApplyStylesheet(*style, *doc, transformed) || transformed != written) std::abort();
}

}  // namespace

void FuzzRecordItem(const std::uint8_t* data, std::size_t size) {
    const std::string item(reinterpret_cast<const char*>(data), size);
    Parsers& parsers = SharedParsers();

    if (parsers.instances->Transform(item.c_str()) == 0) {
        RequireOneLinePerEntry(parsers.instances->GetOutput().GetText(), true);
        CQncString value;
        for (const char* name : {"__CLASS", "Name", "ReturnValue"})
            parsers.instances->GetValue(name, 1, value);
    }
    if (parsers.propertyNames->Transform(item.c_str()) == 0) {
        RequireOneLinePerEntry(parsers.propertyNames->GetOutput().GetText(), false);
    }
    RequireWriterAgreesWithLibxslt(item);
    // The raw bytes as record text.
    LookupRecordValue(item.c_str(), "Name", "VALUEMISSING");
}
