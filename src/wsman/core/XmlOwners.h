// Owning handles for the libxml2 objects the client and the module's POSIX platform hold. Every libxml2
// object outside the simulator is freed through one of these.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlIO.h>

#include <memory>

namespace wsman::xml {

struct DocDeleter {
    void operator()(xmlDoc* doc) const { xmlFreeDoc(doc); }
};
struct CharDeleter {
    void operator()(xmlChar* text) const { xmlFree(text); }
};
struct NodeDeleter {
    void operator()(xmlNode* node) const { xmlFreeNode(node); }
};
struct BufferDeleter {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
};
struct ParserCtxtDeleter {
    void operator()(xmlParserCtxt* ctxt) const { xmlFreeParserCtxt(ctxt); }
};
struct DictRelease {
    void operator()(xmlDict* dict) const { xmlDictFree(dict); }  // drops one reference
};
struct OutputBufferClose {
    void operator()(xmlOutputBuffer* buffer) const { xmlOutputBufferClose(buffer); }
};

using DocPtr = std::unique_ptr<xmlDoc, DocDeleter>;
using CharPtr = std::unique_ptr<xmlChar, CharDeleter>;
using NodePtr = std::unique_ptr<xmlNode, NodeDeleter>;
using BufferPtr = std::unique_ptr<xmlBuffer, BufferDeleter>;
using ParserCtxtPtr = std::unique_ptr<xmlParserCtxt, ParserCtxtDeleter>;
using DictPtr = std::unique_ptr<xmlDict, DictRelease>;
using OutputBufferPtr = std::unique_ptr<xmlOutputBuffer, OutputBufferClose>;

}  // namespace wsman::xml
