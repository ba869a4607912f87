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
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wsman/core/XmlOwners.h"

namespace wsman::xml {

// The namespaces the record writer tells apart; anything else is Other.
enum class XmlNamespace : std::uint8_t { None, Xml, Xsi, Cim, Addressing, Wsman, Other };

class ItemTree {
  public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    // 40 bytes: a check holds the trees of all its items at once.
    struct Node {
        const char* localName = nullptr;  // elements; interned: equal names are one pointer
        Index parent = kNone;
        Index firstChild = kNone;
        Index lastChild = kNone;
        Index next = kNone;
        Index prev = kNone;
        // Elements: their attributes [start, start + length); texts: their characters in the text buffer.
        Index start = 0;
        Index length = 0;
        bool isText = false;
        XmlNamespace ns = XmlNamespace::None;  // elements
    };
    struct Attribute {
        XmlNamespace ns = XmlNamespace::None;
        const char* localName = nullptr;
        std::uint32_t valueOffset = 0;
        std::uint32_t valueLength = 0;
    };

    ItemTree() = default;
    ItemTree(const ItemTree&) = delete;
    ItemTree& operator=(const ItemTree&) = delete;

    bool IsEmpty() const { return nodes_.empty(); }
    void Clear();
    static constexpr Index Root() { return 0; }
    const Node& At(Index index) const { return nodes_[index]; }
    std::string_view TextOf(const Node& text) const { return Slice(text.start, text.length); }
    // The value of the element's attribute with this namespace and local name, if it has one.
    std::optional<std::string_view> AttributeValue(const Node& element, XmlNamespace ns,
                                                   const char* localName) const {
        if (element.length == 0) return std::nullopt;  // most elements
        return FindAttribute(element, ns, localName);
    }
    // The document element's name as written: "prefix:local" or "local".
    std::string RootName() const;
    // Whether every element name came from the parser's dictionary, so that equal names are one pointer.
    bool NamesInterned() const { return namesInterned_; }
    // Elements on the longest path from the root down, the root counted.
    std::uint32_t Depth() const { return depth_; }
    // Whether some element carries xml:space.
    bool HasXmlSpace() const { return hasXmlSpace_; }
    // Whether both trees hold the same elements, attributes and texts (names compared as text).
    bool SameAs(const ItemTree& other) const;

  private:
    friend class ItemTreeBuilder;
    friend class ItemTreeParser;

    std::optional<std::string_view> FindAttribute(const Node& element, XmlNamespace ns,
                                                  const char* localName) const;
    std::string_view Slice(std::uint32_t offset, std::uint32_t length) const {
        return std::string_view(text_).substr(offset, length);
    }

    std::vector<Node> nodes_;
    std::vector<Attribute> attributes_;
    std::string text_;                  // texts and attribute values, back to back
    DictPtr dict_;                      // holds the interned names: one reference of the parser's dictionary
    const char* rootPrefix_ = nullptr;  // the document element's prefix, null without one
    std::uint32_t depth_ = 0;
    bool namesInterned_ = true;
    bool hasXmlSpace_ = false;
};

// Builds a tree from the SAX2 events of one element and its content, as libxml2 hands them to its
// startElementNs, endElementNs, characters (and ignorableWhitespace), comment and processingInstruction
// handlers. Names are the parser's own and live as long as its dictionary.
class ItemTreeBuilder {
  public:
    // Starts building into `into`, emptied first; `dict` is the dictionary of the parser whose events follow.
    // Room is made for about as much as the tree finished last held, within bounds.
    void Begin(ItemTree& into, xmlDict* dict);
    void StartElement(const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri, int attributeCount,
                      const xmlChar** attributes);
    void EndElement();
    void Characters(const xmlChar* text, int length);
    // A comment or processing instruction: text on either side of it is two texts.
    void Separator() { textContinues_ = false; }
    // The element of Begin has ended.
    bool Complete() const { return tree_ != nullptr && !tree_->nodes_.empty() && open_ == ItemTree::kNone; }
    // Ends the tree of Begin, which then holds its own reference of the dictionary. False when the element
    // has not ended or that reference cannot be taken: the tree is then not to be used.
    bool Finish();

  private:
    static XmlNamespace Classify(const xmlChar* uri, const xmlChar*& lastUri, XmlNamespace& lastKind) {
        if (uri == lastUri) return lastKind;
        return ClassifyAnew(uri, lastUri, lastKind);
    }
    static XmlNamespace ClassifyAnew(const xmlChar* uri, const xmlChar*& lastUri, XmlNamespace& lastKind);
    std::uint32_t AppendText(const char* text, std::size_t length);
    void AppendAttributeValue(const xmlChar* value, const xmlChar* end);
    void Link(ItemTree::Index child);

    ItemTree* tree_ = nullptr;
    xmlDict* dict_ = nullptr;
    ItemTree::Index open_ = ItemTree::kNone;  // the element being read
    std::uint32_t depth_ = 0;                 // elements open
    bool textContinues_ = false;              // the open element's last child is text, nothing since
    // Namespace URIs are mostly the same few, one for elements and one for attributes: each is classified
    // once while it repeats, as long as the names come from one dictionary.
    const xmlChar* lastElementUri_ = nullptr;
    XmlNamespace lastElementKind_ = XmlNamespace::None;
    const xmlChar* lastAttributeUri_ = nullptr;
    XmlNamespace lastAttributeKind_ = XmlNamespace::None;
    // Sizes of the tree finished last.
    std::size_t lastNodes_ = 0;
    std::size_t lastAttributes_ = 0;
    std::size_t lastText_ = 0;
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

    // The text is read as UTF-8 whatever its declaration says. False (and `tree` empty) when it is not a
    // well-formed document or carries a DTD.
    bool Parse(std::string_view text, ItemTree& tree);

  private:
    struct Events;
    bool Renew();

    ParserCtxtPtr ctxt_;
    ItemTreeBuilder builder_;
};

}  // namespace wsman::xml
