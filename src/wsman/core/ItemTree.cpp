#include "wsman/core/ItemTree.h"

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/xmlmemory.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <type_traits>

#include "wsman/core/ItemArena.h"
#include "wsman/core/UntrustedXml.h"

namespace wsman::xml {

static_assert(sizeof(ItemTree::Node) <= 24, "a check holds the nodes of every item it read");
// An arena frees its trees with its memory, without destroying them.
static_assert(std::is_trivially_destructible_v<ItemTree>);

namespace {

// Arrays a big item left behind are given back rather than kept for the next, small, one.
constexpr std::size_t kKeptCapacity = 1 << 20;

template <typename Array>
void ClearKeepingLittle(Array& array) {
    array.clear();
    if (array.capacity() * sizeof(array[0]) > kKeptCapacity) Array().swap(array);
}

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

bool HoldsLineBreaks(std::string_view text) {
    std::size_t at = 0;
    for (; text.size() - at >= 8; at += 8) {
        std::uint64_t word;
        std::memcpy(&word, text.data() + at, 8);
        if (WordMayHoldLineBreak(word)) return true;
    }
    for (; at < text.size(); ++at) {
        if (static_cast<unsigned char>(text[at]) < 0x0E) return true;
    }
    return false;
}

bool SameName(const char* a, const char* b) {
    return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
}

}  // namespace

std::optional<std::string_view> ItemTree::FindAttribute(const Node& element, XmlNamespace ns,
                                                        const char* localName) const {
    for (Index i = element.start; i < element.start + element.length; ++i) {
        const Attribute& attribute = attributes_[i];
        if (attribute.ns == ns && std::strcmp(attribute.localName, localName) == 0) {
            return Slice(attribute.valueOffset, attribute.valueLength);
        }
    }
    return std::nullopt;
}

std::string ItemTree::RootName() const {
    if (nodeCount_ == 0) return {};
    std::string name;
    if (rootPrefix_ != nullptr) name.append(rootPrefix_).push_back(':');
    return name.append(nodes_[0].localName);
}

bool ItemTree::SameAs(const ItemTree& other) const {
    if (nodeCount_ != other.nodeCount_ || attributeCount_ != other.attributeCount_ ||
        !SameName(rootPrefix_, other.rootPrefix_) || depth_ != other.depth_ ||
        hasXmlSpace_ != other.hasXmlSpace_ || hasLineBreaks_ != other.hasLineBreaks_) {
        return false;
    }
    for (Index i = 0; i < nodeCount_; ++i) {
        const Node& a = nodes_[i];
        const Node& b = other.nodes_[i];
        if (a.isText != b.isText || a.ns != b.ns || !SameName(a.localName, b.localName) ||
            a.hasChildren != b.hasChildren || a.next != b.next ||
            (a.isText ? TextOf(a) != other.TextOf(b) : a.start != b.start || a.length != b.length)) {
            return false;
        }
    }
    for (Index i = 0; i < attributeCount_; ++i) {
        const Attribute& a = attributes_[i];
        const Attribute& b = other.attributes_[i];
        if (a.ns != b.ns || !SameName(a.localName, b.localName) ||
            Slice(a.valueOffset, a.valueLength) != other.Slice(b.valueOffset, b.valueLength)) {
            return false;
        }
    }
    return true;
}

void ItemTreeBuilder::Begin(xmlDict* dict) {
    ClearKeepingLittle(nodes_);
    ClearKeepingLittle(attributes_);
    ClearKeepingLittle(text_);
    open_.clear();
    if (dict != dict_) {
        // A URI of another dictionary may sit at the same address.
        lastElementUri_ = nullptr;
        lastElementKind_ = XmlNamespace::None;
        lastAttributeUri_ = nullptr;
        lastAttributeKind_ = XmlNamespace::None;
    }
    dict_ = dict;
    rootPrefix_ = nullptr;
    depth_ = 0;
    namesInterned_ = true;
    hasXmlSpace_ = false;
    textContinues_ = false;
}

XmlNamespace ItemTreeBuilder::ClassifyAnew(const xmlChar* uri, const xmlChar*& lastUri,
                                           XmlNamespace& lastKind) {
    lastUri = uri;
    lastKind = ClassifyNamespace(uri);
    return lastKind;
}

void ItemTreeBuilder::Link(ItemTree::Index child) {
    if (open_.empty()) return;
    OpenElement& parent = open_.back();
    if (parent.lastChild != ItemTree::kNone) {
        nodes_[parent.lastChild].next = child;
    } else {
        nodes_[parent.index].hasChildren = true;  // and its first child stands right after it
    }
    parent.lastChild = child;
}

// An attribute value as libxml2's tree holds it. The parser hands over a slice of the input, or, when the
// value held references, a copy ending in NUL in which '&' is still written as a reference; libxml2 resolves
// that copy into the attribute's nodes, so it is resolved the same way here.
void ItemTreeBuilder::AppendAttributeValue(const xmlChar* value, const xmlChar* end) {
    const int length = static_cast<int>(end - value);
    if (*end != 0) {
        text_.append(reinterpret_cast<const char*>(value), static_cast<std::size_t>(length));
        return;
    }
    xmlNode* parts = xmlStringLenGetNodeList(nullptr, value, length);
    xmlChar* resolved = xmlNodeListGetString(nullptr, parts, 1);
    if (resolved != nullptr) text_.append(reinterpret_cast<const char*>(resolved));
    xmlFree(resolved);
    xmlFreeNodeList(parts);
}

void ItemTreeBuilder::StartElement(const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                                   int attributeCount, const xmlChar** attributes) {
    const auto index = static_cast<ItemTree::Index>(nodes_.size());
    if (xmlDictOwns(dict_, localName) != 1) namesInterned_ = false;
    if (index == ItemTree::Root()) rootPrefix_ = reinterpret_cast<const char*>(prefix);
    const auto attributesStart = static_cast<ItemTree::Index>(attributes_.size());
    for (int i = 0; i < attributeCount; ++i) {
        const xmlChar* const* attribute = attributes + 5 * i;  // local name, prefix, URI, value, end
        ItemTree::Attribute& entry = attributes_.emplace_back();
        entry.localName = reinterpret_cast<const char*>(attribute[0]);
        entry.ns = Classify(attribute[2], lastAttributeUri_, lastAttributeKind_);
        if (entry.ns == XmlNamespace::Xml && std::strcmp(entry.localName, "space") == 0) hasXmlSpace_ = true;
        entry.valueOffset = static_cast<std::uint32_t>(text_.size());
        AppendAttributeValue(attribute[3], attribute[4]);
        entry.valueLength = static_cast<std::uint32_t>(text_.size()) - entry.valueOffset;
    }
    ItemTree::Node& node = nodes_.emplace_back();
    node.localName = reinterpret_cast<const char*>(localName);
    node.ns = Classify(uri, lastElementUri_, lastElementKind_);
    node.start = attributesStart;
    node.length = static_cast<ItemTree::Index>(attributeCount);
    Link(index);
    open_.push_back(OpenElement{index, ItemTree::kNone});
    if (open_.size() > depth_) depth_ = static_cast<std::uint32_t>(open_.size());
    textContinues_ = false;
}

void ItemTreeBuilder::EndElement() {
    if (!open_.empty()) open_.pop_back();
    textContinues_ = false;
}

// Text of one run (characters, references and CDATA with nothing between them) is one text node, as in
// libxml2's tree; a comment or processing instruction between two runs separates them.
void ItemTreeBuilder::Characters(const xmlChar* text, int length) {
    if (open_.empty() || length <= 0) return;
    if (textContinues_) {
        nodes_[open_.back().lastChild].length += static_cast<std::uint32_t>(length);
        text_.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
        return;
    }
    const auto index = static_cast<ItemTree::Index>(nodes_.size());
    ItemTree::Node& node = nodes_.emplace_back();
    node.isText = true;
    node.start = static_cast<std::uint32_t>(text_.size());
    node.length = static_cast<std::uint32_t>(length);
    text_.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    Link(index);
    textContinues_ = true;
}

const ItemTree* ItemTreeBuilder::Finish(ItemArena& arena, std::initializer_list<std::string_view> source) {
    if (!Complete() || !arena.Hold(dict_)) return nullptr;
    // One piece of the arena: the tree, its nodes, its attributes, its texts and its source.
    const std::size_t nodeBytes = nodes_.size() * sizeof(ItemTree::Node);
    const std::size_t attributeBytes = attributes_.size() * sizeof(ItemTree::Attribute);
    std::size_t sourceBytes = 0;
    for (const std::string_view piece : source) sourceBytes += piece.size();
    auto* memory = static_cast<std::byte*>(
        arena.Allocate(sizeof(ItemTree) + nodeBytes + attributeBytes + text_.size() + sourceBytes));
    if (memory == nullptr) return nullptr;
    auto* tree = new (memory) ItemTree();
    std::byte* at = memory + sizeof(ItemTree);
    static_assert(sizeof(ItemTree) % alignof(ItemTree::Node) == 0 &&
                  sizeof(ItemTree::Node) % alignof(ItemTree::Attribute) == 0);
    tree->nodes_ = static_cast<ItemTree::Node*>(std::memcpy(at, nodes_.data(), nodeBytes));
    at += nodeBytes;
    tree->attributes_ = static_cast<ItemTree::Attribute*>(
        attributeBytes != 0 ? std::memcpy(at, attributes_.data(), attributeBytes) : at);
    at += attributeBytes;
    tree->text_ = reinterpret_cast<const char*>(at);
    if (!text_.empty()) std::memcpy(at, text_.data(), text_.size());
    at += text_.size();
    tree->source_ = std::string_view(reinterpret_cast<const char*>(at), sourceBytes);
    for (const std::string_view piece : source) {
        if (!piece.empty()) std::memcpy(at, piece.data(), piece.size());
        at += piece.size();
    }
    tree->nodeCount_ = static_cast<ItemTree::Index>(nodes_.size());
    tree->attributeCount_ = static_cast<ItemTree::Index>(attributes_.size());
    tree->rootPrefix_ = rootPrefix_;
    tree->depth_ = depth_;
    tree->namesInterned_ = namesInterned_;
    tree->hasXmlSpace_ = hasXmlSpace_;
    tree->hasLineBreaks_ = HoldsLineBreaks(text_);
    return tree;
}

// The SAX side of ItemTreeParser: libxml2 calls these with its parser context, whose _private points to
// the parser's state for the text being read.
struct ItemTreeParser::Events {
    ItemTreeBuilder& builder;
    bool refused = false;  // a DTD was met

    static Events& Of(void* parserContext) {
        return *static_cast<Events*>(static_cast<xmlParserCtxt*>(parserContext)->_private);
    }

    static void StartElement(void* ctx, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                             int, const xmlChar**, int attributeCount, int, const xmlChar** attributes) {
        Of(ctx).builder.StartElement(localName, prefix, uri, attributeCount, attributes);
    }
    static void EndElement(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
        Of(ctx).builder.EndElement();
    }
    static void Characters(void* ctx, const xmlChar* text, int length) {
        Of(ctx).builder.Characters(text, length);
    }
    static void Separator(void* ctx, const xmlChar*, const xmlChar*) { Of(ctx).builder.Separator(); }
    static void Comment(void* ctx, const xmlChar*) { Of(ctx).builder.Separator(); }

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
    EnsureXmlParserReady();
    ctxt_.reset(xmlNewParserCtxt());
    builder_ = ItemTreeBuilder();  // a new dictionary may sit where the old one was
    if (ctxt_ == nullptr || ctxt_->sax == nullptr) {
        ctxt_.reset();
        return false;
    }
    xmlSAXHandler& sax = *ctxt_->sax;
    xmlSAXVersion(&sax, 2);       // libxml2's own handlers for what is not replaced below (entity look-up)
    sax.startDocument = nullptr;  // no libxml2 document
    sax.endDocument = nullptr;
    sax.startElementNs = Events::StartElement;
    sax.endElementNs = Events::EndElement;
    sax.characters = Events::Characters;
    sax.ignorableWhitespace = Events::Characters;
    sax.cdataBlock = nullptr;  // CDATA arrives as characters
    sax.comment = Events::Comment;
    sax.processingInstruction = Events::Separator;
    sax.reference = Events::Reference;
    sax.internalSubset = Events::RefuseDoctype;
    sax.externalSubset = Events::RefuseDoctype;
    sax.serror = DiscardStructuredError;
    return true;
}

const ItemTree* ItemTreeParser::Parse(std::string_view text, ItemArena& arena) {
    // Read exactly as ParseUntrustedText reads a text, so that both accept the same texts.
    if (text.size() > static_cast<std::size_t>(INT_MAX) || !ReadsAsUtf8(text)) return nullptr;
    if (ctxt_ != nullptr && xmlDictSize(ctxt_->dict) > kMaxInternedNames) ctxt_.reset();
    if (ctxt_ == nullptr && !Renew()) return nullptr;

    builder_.Begin(ctxt_->dict);
    Events events{builder_};
    ctxt_->_private = &events;
    bool accepted = false;
    {
        ThreadXmlErrorsSilenced silenced;
        // Resets the context first; the handlers and the name dictionary stay.
        xmlDoc* none = xmlCtxtReadMemory(ctxt_.get(), text.data(), static_cast<int>(text.size()), nullptr,
                                         nullptr, kUntrustedTextOptions);
        if (none != nullptr) xmlFreeDoc(none);
        accepted =
            ctxt_->wellFormed != 0 && ctxt_->nsWellFormed != 0 && !events.refused && builder_.Complete();
    }
    ctxt_->_private = nullptr;
    // The tree's names live in the parser's dictionary, which the arena holds: a renewed parser would
    // otherwise free it.
    return accepted ? builder_.Finish(arena, {text}) : nullptr;
}

}  // namespace wsman::xml
