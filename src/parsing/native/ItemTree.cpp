#include "parsing/native/ItemTree.h"

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/xmlmemory.h>

#include <climits>
#include <cstring>

#include "wsman/core/UntrustedXml.h"

namespace qn::parsing::native {

namespace {

// A few thousand names cover every class of a computer; a parser holding more starts afresh.
constexpr int kMaxInternedNames = 20000;

// Buffers a big item left behind are given back rather than kept for the next, small, one.
constexpr std::size_t kKeptCapacity = 1 << 20;

XmlNamespace ClassifyNamespace(const xmlChar* uri) {
    if (uri == nullptr) return XmlNamespace::None;
    const char* text = reinterpret_cast<const char*>(uri);
    static constexpr std::pair<const char*, XmlNamespace> kKnown[] = {
        {"http://www.w3.org/2001/XMLSchema-instance", XmlNamespace::Xsi},
        {"http://schemas.dmtf.org/wbem/wscim/1/common", XmlNamespace::Cim},
        {"http://schemas.xmlsoap.org/ws/2004/08/addressing", XmlNamespace::Addressing},
        {"http://schemas.dmtf.org/wbem/wsman/1/wsman.xsd", XmlNamespace::Wsman},
        {"http://www.w3.org/XML/1998/namespace", XmlNamespace::Xml},
    };
    for (const auto& [known, kind] : kKnown) {
        if (std::strcmp(text, known) == 0) return kind;
    }
    return XmlNamespace::Other;
}

}  // namespace

void ItemTree::Clear() {
    nodes_.clear();
    attributes_.clear();
    text_.clear();
    if (text_.capacity() > kKeptCapacity) std::string().swap(text_);
    if (nodes_.capacity() * sizeof(Node) > kKeptCapacity) std::vector<Node>().swap(nodes_);
    if (attributes_.capacity() * sizeof(Attribute) > kKeptCapacity)
        std::vector<Attribute>().swap(attributes_);
    dict_.reset();
    namesInterned_ = true;
}

std::optional<std::string_view> ItemTree::AttributeValue(const Node& element, XmlNamespace ns,
                                                         const char* localName) const {
    for (Index i = element.firstAttribute; i < element.firstAttribute + element.attributeCount; ++i) {
        const Attribute& attribute = attributes_[i];
        if (attribute.ns == ns && std::strcmp(attribute.localName, localName) == 0) {
            return Slice(attribute.valueOffset, attribute.valueLength);
        }
    }
    return std::nullopt;
}

std::string ItemTree::RootName() const {
    if (nodes_.empty()) return {};
    const Node& root = nodes_.front();
    std::string name;
    if (root.prefix != nullptr) name.append(root.prefix).push_back(':');
    return name.append(root.localName);
}

// The SAX side: libxml2 calls these with its parser context, whose _private points here.
struct ItemTreeParser::Builder {
    ItemTree& tree;
    ItemTree::Index open = ItemTree::kNone;  // the element being read
    bool textContinues = false;              // the open element's last child is text, nothing since
    bool refused = false;                    // a DTD was met
    const xmlChar* lastUri = nullptr;        // namespace URIs are mostly the same few: classify each once
    XmlNamespace lastKind = XmlNamespace::None;

    static Builder& Of(void* parserContext) {
        return *static_cast<Builder*>(static_cast<xmlParserCtxt*>(parserContext)->_private);
    }

    XmlNamespace Classify(const xmlChar* uri) {
        if (uri == nullptr) return XmlNamespace::None;
        if (uri != lastUri) {
            lastUri = uri;
            lastKind = ClassifyNamespace(uri);
        }
        return lastKind;
    }

    std::uint32_t AppendText(const char* text, std::size_t length) {
        const auto offset = static_cast<std::uint32_t>(tree.text_.size());
        tree.text_.append(text, length);
        return offset;
    }

    void Link(ItemTree::Index child) {
        ItemTree::Node& node = tree.nodes_[child];
        node.parent = open;
        if (open == ItemTree::kNone) return;
        ItemTree::Node& parent = tree.nodes_[open];
        if (parent.lastChild != ItemTree::kNone) {
            tree.nodes_[parent.lastChild].next = child;
            node.prev = parent.lastChild;
        } else {
            parent.firstChild = child;
        }
        parent.lastChild = child;
    }

    // An attribute value as libxml2's tree holds it. The parser hands over a slice of the input, or, when
    // the value held references, a copy ending in NUL in which '&' is still written as a reference; libxml2
    // resolves that copy into the attribute's nodes, so it is resolved the same way here.
    void AppendAttributeValue(const xmlChar* value, const xmlChar* end) {
        const int length = static_cast<int>(end - value);
        if (*end != 0) {
            AppendText(reinterpret_cast<const char*>(value), static_cast<std::size_t>(length));
            return;
        }
        xmlNode* parts = xmlStringLenGetNodeList(nullptr, value, length);
        xmlChar* resolved = xmlNodeListGetString(nullptr, parts, 1);
        if (resolved != nullptr)
            AppendText(reinterpret_cast<const char*>(resolved),
                       std::strlen(reinterpret_cast<const char*>(resolved)));
        xmlFree(resolved);
        xmlFreeNodeList(parts);
    }

    static void StartElement(void* ctx, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                             int, const xmlChar**, int attributeCount, int, const xmlChar** attributes) {
        Builder& self = Of(ctx);
        ItemTree& tree = self.tree;
        const auto index = static_cast<ItemTree::Index>(tree.nodes_.size());
        ItemTree::Node node;
        node.localName = reinterpret_cast<const char*>(localName);
        if (xmlDictOwns(static_cast<xmlParserCtxt*>(ctx)->dict, localName) != 1) tree.namesInterned_ = false;
        node.prefix = reinterpret_cast<const char*>(prefix);
        node.ns = self.Classify(uri);
        node.firstAttribute = static_cast<ItemTree::Index>(tree.attributes_.size());
        node.attributeCount = static_cast<ItemTree::Index>(attributeCount);
        for (int i = 0; i < attributeCount; ++i) {
            const xmlChar* const* attribute = attributes + 5 * i;  // local name, prefix, URI, value, end
            ItemTree::Attribute entry;
            entry.localName = reinterpret_cast<const char*>(attribute[0]);
            entry.ns = self.Classify(attribute[2]);
            entry.valueOffset = static_cast<std::uint32_t>(tree.text_.size());
            self.AppendAttributeValue(attribute[3], attribute[4]);
            entry.valueLength = static_cast<std::uint32_t>(tree.text_.size()) - entry.valueOffset;
            tree.attributes_.push_back(entry);
        }
        tree.nodes_.push_back(node);
        self.Link(index);
        self.open = index;
        self.textContinues = false;
    }

    static void EndElement(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
        Builder& self = Of(ctx);
        if (self.open != ItemTree::kNone) self.open = self.tree.nodes_[self.open].parent;
        self.textContinues = false;
    }

    // Text of one run (characters, references and CDATA with nothing between them) is one text node, as in
    // libxml2's tree; a comment or processing instruction between two runs separates them.
    static void Characters(void* ctx, const xmlChar* text, int length) {
        Builder& self = Of(ctx);
        if (self.open == ItemTree::kNone || length <= 0) return;
        ItemTree& tree = self.tree;
        if (self.textContinues) {
            ItemTree::Node& last = tree.nodes_[tree.nodes_[self.open].lastChild];
            tree.text_.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
            last.textLength += static_cast<std::uint32_t>(length);
            return;
        }
        const auto index = static_cast<ItemTree::Index>(tree.nodes_.size());
        ItemTree::Node node;
        node.isText = true;
        node.textOffset =
            self.AppendText(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
        node.textLength = static_cast<std::uint32_t>(length);
        tree.nodes_.push_back(node);
        self.Link(index);
        self.textContinues = true;
    }

    static void Separator(void* ctx, const xmlChar*, const xmlChar*) { Of(ctx).textContinues = false; }
    static void Comment(void* ctx, const xmlChar*) { Of(ctx).textContinues = false; }

    // A DOCTYPE is where entity bombs and external entities start: the parse stops there.
    static void RefuseDoctype(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
        Of(ctx).refused = true;
        xmlStopParser(static_cast<xmlParserCtxt*>(ctx));
    }

    // A reference to a declared entity needs a DTD, which is refused; should one come anyway, the item
    // is refused too rather than read without it.
    static void Reference(void* ctx, const xmlChar*) { Of(ctx).refused = true; }
};

ItemTreeParser::ItemTreeParser() = default;
ItemTreeParser::~ItemTreeParser() = default;

bool ItemTreeParser::Renew() {
    xml::EnsureXmlParserReady();
    ctxt_.reset(xmlNewParserCtxt());
    if (ctxt_ == nullptr || ctxt_->sax == nullptr) {
        ctxt_.reset();
        return false;
    }
    xmlSAXHandler& sax = *ctxt_->sax;
    xmlSAXVersion(&sax, 2);       // libxml2's own handlers for what is not replaced below (entity look-up)
    sax.startDocument = nullptr;  // no libxml2 document
    sax.endDocument = nullptr;
    sax.startElementNs = Builder::StartElement;
    sax.endElementNs = Builder::EndElement;
    sax.characters = Builder::Characters;
    sax.ignorableWhitespace = Builder::Characters;
    sax.cdataBlock = nullptr;  // CDATA arrives as characters
    sax.comment = Builder::Comment;
    sax.processingInstruction = Builder::Separator;
    sax.reference = Builder::Reference;
    sax.internalSubset = Builder::RefuseDoctype;
    sax.externalSubset = Builder::RefuseDoctype;
    sax.serror = xml::DiscardStructuredError;
    return true;
}

bool ItemTreeParser::Parse(std::string_view text, ItemTree& tree) {
    tree.Clear();
    // Read exactly as ParseUntrustedText reads a text, so that both accept the same texts.
    if (text.size() > static_cast<std::size_t>(INT_MAX) || !xml::ReadsAsUtf8(text)) return false;
    if (ctxt_ != nullptr && xmlDictSize(ctxt_->dict) > kMaxInternedNames) ctxt_.reset();
    if (ctxt_ == nullptr && !Renew()) return false;

    Builder builder{tree};
    ctxt_->_private = &builder;
    bool accepted = false;
    {
        xml::ThreadXmlErrorsSilenced silenced;
        // Resets the context first; the handlers and the name dictionary stay.
        xmlDoc* none = xmlCtxtReadMemory(ctxt_.get(), text.data(), static_cast<int>(text.size()), nullptr,
                                         nullptr, xml::kUntrustedTextOptions);
        if (none != nullptr) xmlFreeDoc(none);
        accepted =
            ctxt_->wellFormed != 0 && ctxt_->nsWellFormed != 0 && !builder.refused && !tree.nodes_.empty();
    }
    ctxt_->_private = nullptr;
    // The tree's names live in the parser's dictionary, which a renewed parser would otherwise free.
    if (!accepted || xmlDictReference(ctxt_->dict) != 0) {
        tree.Clear();
        return false;
    }
    tree.dict_.reset(ctxt_->dict);
    return true;
}

}  // namespace qn::parsing::native
