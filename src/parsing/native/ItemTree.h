// One item as a compact, read-only element tree, read in a single SAX pass of libxml2.
//
// The checks load thousands of items, and building libxml2's node objects for each (one allocation per
// element, text and namespace, all freed again with the item) costs more than reading the text does. This
// tree keeps elements, attributes and text in three arrays that are reused from item to item. It is read
// by the same parser with the same options and rules as a document of wsman/core/UntrustedXml.h, so an item
// is accepted or refused exactly as there, and it holds the same data as libxml2's tree: texts of one run are
// merged as libxml2 merges them, attribute values decoded as libxml2 decodes them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "wsman/core/XmlOwners.h"

namespace qn::parsing::native {

namespace xml = ::wsman::xml;

// The namespaces the record writer tells apart; anything else is Other.
enum class XmlNamespace : std::uint8_t { None, Xml, Xsi, Cim, Addressing, Wsman, Other };

class ItemTree {
  public:
    using Index = std::uint32_t;
    static constexpr Index kNone = 0xFFFFFFFF;

    struct Node {
        bool isText = false;
        XmlNamespace ns = XmlNamespace::None;  // elements
        const char* localName = nullptr;       // elements; interned: equal names are one pointer
        const char* prefix = nullptr;          // elements; null without one
        Index parent = kNone;
        Index firstChild = kNone;
        Index lastChild = kNone;
        Index next = kNone;
        Index prev = kNone;
        Index firstAttribute = 0;  // elements: attributes [firstAttribute, firstAttribute + attributeCount)
        Index attributeCount = 0;
        std::uint32_t textOffset = 0;  // texts
        std::uint32_t textLength = 0;
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
    std::string_view TextOf(const Node& text) const { return Slice(text.textOffset, text.textLength); }
    // The value of the element's attribute with this namespace and local name, if it has one.
    std::optional<std::string_view> AttributeValue(const Node& element, XmlNamespace ns,
                                                   const char* localName) const;
    // The document element's name as written: "prefix:local" or "local".
    std::string RootName() const;
    // Whether every element name came from the parser's dictionary, so that equal names are one pointer.
    bool NamesInterned() const { return namesInterned_; }

  private:
    friend class ItemTreeParser;

    std::string_view Slice(std::uint32_t offset, std::uint32_t length) const {
        return std::string_view(text_).substr(offset, length);
    }

    std::vector<Node> nodes_;
    std::vector<Attribute> attributes_;
    std::string text_;   // texts and attribute values, back to back
    xml::DictPtr dict_;  // holds the interned names: one reference of the parser's dictionary
    bool namesInterned_ = true;
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
    struct Builder;
    bool Renew();

    xml::ParserCtxtPtr ctxt_;
};

}  // namespace qn::parsing::native
