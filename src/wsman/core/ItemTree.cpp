#include "wsman/core/ItemTree.h"

#include <libxml/SAX2.h>
#include <libxml/dict.h>
#include <libxml/xmlmemory.h>

#include <algorithm>
#include <climits>
#include <cstring>

#include "wsman/core/UntrustedXml.h"

namespace wsman::xml {

static_assert(sizeof(ItemTree::Node) <= 40, "a check holds the nodes of every item it read");

namespace {

// A few thousand names cover every class of a computer; a parser holding more starts afresh.
constexpr int kMaxInternedNames = 20000;

// Buffers a big item left behind are given back rather than kept for the next, small, one.
constexpr std::size_t kKeptCapacity = 1 << 20;

// A tree reserves room for about as much as the one before it held, up to these: items of one class are
// much alike, and one big item must not make every later one reserve its size.
constexpr std::size_t kMaxReservedNodes = 4096;
constexpr std::size_t kMaxReservedAttributes = 1024;
constexpr std::size_t kMaxReservedText = 64 * 1024;

std::size_t RoomAfter(std::size_t last, std::size_t bound) {
    return std::min(last + last / 8, bound);  // an eighth more: a slightly bigger item does not double it
}

// A check holds every item's tree: an array left far larger than its content is cut to size.
template <typename Array>
void FitLoose(Array& array) {
    if (array.capacity() > array.size() + array.size() / 4 + 16) array.shrink_to_fit();
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

bool SameName(const char* a, const char* b) {
    return a == b || (a != nullptr && b != nullptr && std::strcmp(a, b) == 0);
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
    rootPrefix_ = nullptr;
    depth_ = 0;
    namesInterned_ = true;
    hasXmlSpace_ = false;
}

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
    if (nodes_.empty()) return {};
    std::string name;
    if (rootPrefix_ != nullptr) name.append(rootPrefix_).push_back(':');
    return name.append(nodes_.front().localName);
}

bool ItemTree::SameAs(const ItemTree& other) const {
    if (nodes_.size() != other.nodes_.size() || attributes_.size() != other.attributes_.size() ||
        !SameName(rootPrefix_, other.rootPrefix_) || depth_ != other.depth_ ||
        hasXmlSpace_ != other.hasXmlSpace_) {
        return false;
    }
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const Node& a = nodes_[i];
        const Node& b = other.nodes_[i];
        if (a.isText != b.isText || a.ns != b.ns || !SameName(a.localName, b.localName) ||
            a.parent != b.parent || a.firstChild != b.firstChild || a.lastChild != b.lastChild ||
            a.next != b.next || a.prev != b.prev ||
            (a.isText ? TextOf(a) != other.TextOf(b) : a.start != b.start || a.length != b.length)) {
            return false;
        }
    }
    for (std::size_t i = 0; i < attributes_.size(); ++i) {
        const Attribute& a = attributes_[i];
        const Attribute& b = other.attributes_[i];
        if (a.ns != b.ns || !SameName(a.localName, b.localName) ||
            Slice(a.valueOffset, a.valueLength) != other.Slice(b.valueOffset, b.valueLength)) {
            return false;
        }
    }
    return true;
}

void ItemTreeBuilder::Begin(ItemTree& into, xmlDict* dict) {
    into.Clear();
    into.nodes_.reserve(RoomAfter(lastNodes_, kMaxReservedNodes));
    into.attributes_.reserve(RoomAfter(lastAttributes_, kMaxReservedAttributes));
    into.text_.reserve(RoomAfter(lastText_, kMaxReservedText));
    tree_ = &into;
    if (dict != dict_) {
        // A URI of another dictionary may sit at the same address.
        lastElementUri_ = nullptr;
        lastElementKind_ = XmlNamespace::None;
        lastAttributeUri_ = nullptr;
        lastAttributeKind_ = XmlNamespace::None;
    }
    dict_ = dict;
    open_ = ItemTree::kNone;
    depth_ = 0;
    textContinues_ = false;
}

XmlNamespace ItemTreeBuilder::ClassifyAnew(const xmlChar* uri, const xmlChar*& lastUri,
                                           XmlNamespace& lastKind) {
    lastUri = uri;
    lastKind = ClassifyNamespace(uri);
    return lastKind;
}

std::uint32_t ItemTreeBuilder::AppendText(const char* text, std::size_t length) {
    const auto offset = static_cast<std::uint32_t>(tree_->text_.size());
    tree_->text_.append(text, length);
    return offset;
}

void ItemTreeBuilder::Link(ItemTree::Index child) {
    ItemTree::Node& node = tree_->nodes_[child];
    node.parent = open_;
    if (open_ == ItemTree::kNone) return;
    ItemTree::Node& parent = tree_->nodes_[open_];
    if (parent.lastChild != ItemTree::kNone) {
        tree_->nodes_[parent.lastChild].next = child;
        node.prev = parent.lastChild;
    } else {
        parent.firstChild = child;
    }
    parent.lastChild = child;
}

// An attribute value as libxml2's tree holds it. The parser hands over a slice of the input, or, when the
// value held references, a copy ending in NUL in which '&' is still written as a reference; libxml2 resolves
// that copy into the attribute's nodes, so it is resolved the same way here.
void ItemTreeBuilder::AppendAttributeValue(const xmlChar* value, const xmlChar* end) {
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

void ItemTreeBuilder::StartElement(const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                                   int attributeCount, const xmlChar** attributes) {
    ItemTree& tree = *tree_;
    const auto index = static_cast<ItemTree::Index>(tree.nodes_.size());
    if (xmlDictOwns(dict_, localName) != 1) tree.namesInterned_ = false;
    if (index == ItemTree::Root()) tree.rootPrefix_ = reinterpret_cast<const char*>(prefix);
    const auto attributesStart = static_cast<ItemTree::Index>(tree.attributes_.size());
    for (int i = 0; i < attributeCount; ++i) {
        const xmlChar* const* attribute = attributes + 5 * i;  // local name, prefix, URI, value, end
        ItemTree::Attribute& entry = tree.attributes_.emplace_back();
        entry.localName = reinterpret_cast<const char*>(attribute[0]);
        entry.ns = Classify(attribute[2], lastAttributeUri_, lastAttributeKind_);
        if (entry.ns == XmlNamespace::Xml && std::strcmp(entry.localName, "space") == 0)
            tree.hasXmlSpace_ = true;
        entry.valueOffset = static_cast<std::uint32_t>(tree.text_.size());
        AppendAttributeValue(attribute[3], attribute[4]);
        entry.valueLength = static_cast<std::uint32_t>(tree.text_.size()) - entry.valueOffset;
    }
    ItemTree::Node& node = tree.nodes_.emplace_back();
    node.localName = reinterpret_cast<const char*>(localName);
    node.ns = Classify(uri, lastElementUri_, lastElementKind_);
    node.start = attributesStart;
    node.length = static_cast<ItemTree::Index>(attributeCount);
    Link(index);
    open_ = index;
    if (++depth_ > tree.depth_) tree.depth_ = depth_;
    textContinues_ = false;
}

void ItemTreeBuilder::EndElement() {
    if (open_ != ItemTree::kNone) {
        open_ = tree_->nodes_[open_].parent;
        --depth_;
    }
    textContinues_ = false;
}

// Text of one run (characters, references and CDATA with nothing between them) is one text node, as in
// libxml2's tree; a comment or processing instruction between two runs separates them.
void ItemTreeBuilder::Characters(const xmlChar* text, int length) {
    if (open_ == ItemTree::kNone || length <= 0) return;
    ItemTree& tree = *tree_;
    if (textContinues_) {
        ItemTree::Node& last = tree.nodes_[tree.nodes_[open_].lastChild];
        tree.text_.append(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
        last.length += static_cast<std::uint32_t>(length);
        return;
    }
    const auto index = static_cast<ItemTree::Index>(tree.nodes_.size());
    const std::uint32_t start =
        AppendText(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
    ItemTree::Node& node = tree.nodes_.emplace_back();
    node.isText = true;
    node.start = start;
    node.length = static_cast<std::uint32_t>(length);
    Link(index);
    textContinues_ = true;
}

bool ItemTreeBuilder::Finish() {
    if (!Complete() || xmlDictReference(dict_) != 0) return false;
    tree_->dict_.reset(dict_);
    FitLoose(tree_->nodes_);
    FitLoose(tree_->attributes_);
    FitLoose(tree_->text_);
    lastNodes_ = tree_->nodes_.size();
    lastAttributes_ = tree_->attributes_.size();
    lastText_ = tree_->text_.size();
    return true;
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

bool ItemTreeParser::Parse(std::string_view text, ItemTree& tree) {
    tree.Clear();
    // Read exactly as ParseUntrustedText reads a text, so that both accept the same texts.
    if (text.size() > static_cast<std::size_t>(INT_MAX) || !ReadsAsUtf8(text)) return false;
    if (ctxt_ != nullptr && xmlDictSize(ctxt_->dict) > kMaxInternedNames) ctxt_.reset();
    if (ctxt_ == nullptr && !Renew()) return false;

    builder_.Begin(tree, ctxt_->dict);
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
    // The tree's names live in the parser's dictionary, which a renewed parser would otherwise free.
    if (!accepted || !builder_.Finish()) {
        tree.Clear();
        return false;
    }
    return true;
}

}  // namespace wsman::xml
