// One item as a compact, read-only element tree, built from libxml2's SAX events.
//
// The checks load thousands of items, and building libxml2's node objects for each (one allocation per
// element, text and namespace, all freed again with the item) costs more than reading the text does. This
// tree keeps elements, attributes and text in three arrays. It is built from the events of the one safe
// parse (UntrustedXml.h): the client's envelope reader builds each item's tree in its pass over the reply,
// so an item is read once, and ItemTreeParser reads an item that comes as text alone under the same options
// and rules, so that both accept the same items and build the same tree. It holds the same data as
// libxml2's tree: texts of one run are merged as libxml2 merges them, attribute values decoded as libxml2
// decodes them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wsman/core/XmlOwners.h"

namespace wsman::xml {

// The namespaces the record writer tells apart; anything else is Other.
enum class XmlNamespace : std::uint8_t { None, Xml, Xsi, Cim, Addressing, Wsman, Other };

class ItemArena;

// TAB, LF and CR are the only bytes below 0x0E that XML text holds: whether one of eight bytes read as a
// word may be one of them.
constexpr bool WordMayHoldLineBreak(std::uint64_t word) {
    constexpr std::uint64_t kOnes = 0x0101010101010101;
    constexpr std::uint64_t kHighBits = 0x8080808080808080;
    return ((word - 0x0E * kOnes) & ~word & kHighBits) != 0;
}

class ItemTree {
  public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    // 24 bytes: a check holds the trees of all its items at once. Nodes stand in document order, so an
    // element's first child, when it has one, is the node right after it.
    struct Node {
        const char* localName = nullptr;  // elements; interned: equal names are one pointer
        Index next = kNone;               // the next sibling
        // Elements: their attributes [start, start + length); texts: their characters in the text buffer.
        Index start = 0;
        Index length = 0;
        bool isText = false;
        bool hasChildren = false;
        XmlNamespace ns = XmlNamespace::None;  // elements
    };
    struct Attribute {
        XmlNamespace ns = XmlNamespace::None;
        const char* localName = nullptr;
        std::uint32_t valueOffset = 0;
        std::uint32_t valueLength = 0;
    };

    // Trees live in an ItemArena, which frees them with their memory.
    ItemTree(const ItemTree&) = delete;
    ItemTree& operator=(const ItemTree&) = delete;

    bool IsEmpty() const { return nodeCount_ == 0; }
    static constexpr Index Root() { return 0; }
    const Node& At(Index index) const { return nodes_[index]; }
    Index FirstChild(const Node& node) const {
        return node.hasChildren ? static_cast<Index>(&node - nodes_) + 1 : kNone;
    }
    std::string_view TextOf(const Node& text) const { return Slice(text.start, text.length); }
    // The value of the element's attribute with this namespace and local name, if it has one.
    std::optional<std::string_view> AttributeValue(const Node& element, XmlNamespace ns,
                                                   const char* localName) const {
        if (element.length == 0) return std::nullopt;  // most elements
        return FindAttribute(element, ns, localName);
    }
    // The document element's name as written: "prefix:local" or "local".
    std::string RootName() const;
    // The item's text the tree was read from, a standalone document.
    std::string_view Source() const { return source_; }
    // Whether every element name came from the parser's dictionary, so that equal names are one pointer.
    bool NamesInterned() const { return namesInterned_; }
    // Elements on the longest path from the root down, the root counted.
    std::uint32_t Depth() const { return depth_; }
    // Whether some element carries xml:space.
    bool HasXmlSpace() const { return hasXmlSpace_; }
    // Whether some text or attribute value holds a TAB, LF or CR (a record line blanks them); most items
    // hold none.
    bool HasLineBreaks() const { return hasLineBreaks_; }
    // Whether both trees hold the same elements, attributes and texts (names compared as text).
    bool SameAs(const ItemTree& other) const;

  private:
    friend class ItemTreeBuilder;
    ItemTree() = default;

    std::optional<std::string_view> FindAttribute(const Node& element, XmlNamespace ns,
                                                  const char* localName) const;
    std::string_view Slice(std::uint32_t offset, std::uint32_t length) const {
        return std::string_view(text_ + offset, length);
    }

    // All of it in the arena; the names in a dictionary the arena holds.
    const Node* nodes_ = nullptr;
    const Attribute* attributes_ = nullptr;
    const char* text_ = nullptr;  // texts and attribute values, back to back
    std::string_view source_;
    const char* rootPrefix_ = nullptr;  // the document element's prefix, null without one
    Index nodeCount_ = 0;
    Index attributeCount_ = 0;
    std::uint32_t depth_ = 0;
    bool namesInterned_ = true;
    bool hasXmlSpace_ = false;
    bool hasLineBreaks_ = false;
};

// Builds a tree from the SAX2 events of one element and its content, as libxml2 hands them to its
// startElementNs, endElementNs, characters (and ignorableWhitespace), comment and processingInstruction
// handlers, into arrays of its own that are reused from item to item; Finish copies the tree into an arena.
// Names are the parser's own and live as long as its dictionary.
class ItemTreeBuilder {
  public:
    // Starts a tree; `dict` is the dictionary of the parser whose events follow.
    void Begin(xmlDict* dict);
    void StartElement(const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri, int attributeCount,
                      const xmlChar** attributes);
    void EndElement();
    void Characters(const xmlChar* text, int length);
    // A comment or processing instruction: text on either side of it is two texts.
    void Separator() { textContinues_ = false; }
    // The element of Begin has ended.
    bool Complete() const { return !nodes_.empty() && open_.empty(); }
    // The tree of Begin, placed in `arena`, which then holds the dictionary. Its text is the pieces of
    // `source` back to back (an item of a reply is its bytes there with declarations added after its name).
    // Null when the element has not ended or memory or the dictionary's reference cannot be had.
    const ItemTree* Finish(ItemArena& arena, std::initializer_list<std::string_view> source);

  private:
    struct OpenElement {
        ItemTree::Index index;
        ItemTree::Index lastChild;
    };

    static XmlNamespace Classify(const xmlChar* uri, const xmlChar*& lastUri, XmlNamespace& lastKind) {
        if (uri == lastUri) return lastKind;
        return ClassifyAnew(uri, lastUri, lastKind);
    }
    static XmlNamespace ClassifyAnew(const xmlChar* uri, const xmlChar*& lastUri, XmlNamespace& lastKind);
    void AppendAttributeValue(const xmlChar* value, const xmlChar* end);
    void Link(ItemTree::Index child);

    xmlDict* dict_ = nullptr;
    std::vector<ItemTree::Node> nodes_;
    std::vector<ItemTree::Attribute> attributes_;
    std::string text_;
    std::vector<OpenElement> open_;  // the elements being read, innermost last
    const char* rootPrefix_ = nullptr;
    std::uint32_t depth_ = 0;
    bool namesInterned_ = true;
    bool hasXmlSpace_ = false;
    bool textContinues_ = false;  // the open element's last child is text, nothing since
    // Namespace URIs are mostly the same few, one for elements and one for attributes: each is classified
    // once while it repeats, as long as the names come from one dictionary.
    const xmlChar* lastElementUri_ = nullptr;
    XmlNamespace lastElementKind_ = XmlNamespace::None;
    const xmlChar* lastAttributeUri_ = nullptr;
    XmlNamespace lastAttributeKind_ = XmlNamespace::None;
};

// Reads items into trees. One parser context serves a stream of items, so the names they share are
// interned once; it is renewed when its names pass a bound, so that a server sending ever new names cannot
// grow it without limit.
class ItemTreeParser {
  public:
    ItemTreeParser();
    ~ItemTreeParser();
    ItemTreeParser(const ItemTreeParser&) = delete;
    ItemTreeParser& operator=(const ItemTreeParser&) = delete;

    // The text is read as UTF-8 whatever its declaration says; its tree, holding a copy of it, is placed in
    // `arena`. Null when it is not a well-formed document or carries a DTD.
    const ItemTree* Parse(std::string_view text, ItemArena& arena);

  private:
    struct Events;
    bool Renew();

    ParserCtxtPtr ctxt_;
    ItemTreeBuilder builder_;
};

}  // namespace wsman::xml
