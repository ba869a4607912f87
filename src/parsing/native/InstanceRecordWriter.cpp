#include "parsing/native/InstanceRecordWriter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace qn::parsing::native {

namespace {

using Index = ItemTree::Index;
using Node = ItemTree::Node;
constexpr Index kNone = ItemTree::kNone;

// Far inside libxslt's template depth limit (3,000): each nesting level of an item costs the stylesheet a
// few templates, each "/" of a resource URI and each \ or " of a selector value one.
constexpr std::uint32_t kMaxElementDepth = 64;
constexpr std::size_t kMaxRecursiveCharacters = 512;

// XPath's name test: "ns:Name", or an unprefixed "Name" (no namespace) for XmlNamespace::None.
bool IsNamed(const Node& node, XmlNamespace ns, const char* localName) {
    return !node.isText && node.ns == ns && std::strcmp(node.localName, localName) == 0;
}

bool IsNamedInEither(const Node& node, XmlNamespace ns, const char* localName) {
    return !node.isText && (node.ns == ns || node.ns == XmlNamespace::None) &&
           std::strcmp(node.localName, localName) == 0;
}

bool IsDateOrInterval(const Node& element) {
    for (const char* name : {"Datetime", "Interval", "Date", "Time", "CIM_DateTime"}) {
        if (IsNamed(element, XmlNamespace::Cim, name)) return true;
    }
    return IsNamed(element, XmlNamespace::None, "Datetime") ||
           IsNamed(element, XmlNamespace::None, "Interval");
}

// XPath's normalize-space: blanks, tabs, CRs and LFs trimmed, runs of them made one blank.
std::string NormalizeSpace(std::string_view text) {
    std::string normalized;
    std::size_t position = 0;
    while (position < text.size()) {
        const std::size_t start = text.find_first_not_of(" \t\r\n", position);
        if (start == std::string_view::npos) break;
        const std::size_t end = std::min(text.find_first_of(" \t\r\n", start), text.size());
        if (!normalized.empty()) normalized.push_back(' ');
        normalized.append(text.substr(start, end - start));
        position = end;
    }
    return normalized;
}

// TAB, LF and CR become blanks; eight bytes at a time are tested for them.
void BlankLineBreaks(char* at, char* const end) {
    const auto blank = [](char& c) {
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    };
    for (; end - at >= 8; at += 8) {
        std::uint64_t word;
        std::memcpy(&word, at, 8);
        if (wsman::xml::WordMayHoldLineBreak(word)) std::for_each(at, at + 8, blank);
    }
    std::for_each(at, end, blank);
}

std::size_t CountOf(std::string_view text, std::string_view characters) {
    std::size_t count = 0;
    for (const char c : text) count += characters.find(c) != std::string_view::npos ? 1 : 0;
    return count;
}

class RecordWriter {
  public:
    RecordWriter(const ItemTree& tree, std::string& out) : tree_(tree), out_(out) {}

    // False when the item is one to leave to libxslt (see the header).
    bool Write() {
        const Node& root = tree_.At(ItemTree::Root());
        // Shapes on which libxslt's answer could differ for reasons of its own (limits, xml:space).
        if (!tree_.NamesInterned() || tree_.Depth() > kMaxElementDepth || tree_.HasXmlSpace()) return false;
        if (!IsNamed(root, XmlNamespace::Wsman, "XmlFragment")) {
            out_.append("__CLASS:=");
            AppendTranslated(root.localName);
            out_.append("\r\n");
        }
        if (WritePropertiesGrouped(root)) return !declined_;
        for (Index child = FirstChild(root); child != kNone; child = At(child).next) {
            if (!IsListedProperty(FirstChild(root), child)) continue;
            WriteProperty(At(child).localName, [&](std::string& value) { AppendJoinedValues(child, value); });
        }
        return !declined_;
    }

  private:
    // Up to this many element children, an instance's properties are grouped by name in one pass rather
    // than by looking back and ahead from every element (quadratic in the property count).
    static constexpr std::size_t kGroupedChildren = 256;
    static constexpr std::size_t kNameSlots = 512;  // a power of two, at least twice kGroupedChildren

    const Node& At(Index index) const { return tree_.At(index); }
    Index FirstChild(const Node& node) const { return tree_.FirstChild(node); }

    // The value is written where it stands in the record, then translated there.
    template <typename AppendValues>
    void WriteProperty(const char* name, AppendValues appendValues) {
        out_.append(name);
        out_.append(":=");
        const std::size_t start = out_.size();
        appendValues(out_);
        TranslateFrom(start);
        out_.append("\r\n");
    }

    // The same lines as the plain loop in Write: each name listed where its first element stands, its
    // values those of every element child of that name in document order. Names are interned, so a name is
    // its pointer. False (nothing written) when the root has more children than the tables hold.
    bool WritePropertiesGrouped(const Node& root) {
        std::array<Index, kGroupedChildren> children;
        std::array<std::uint16_t, kGroupedChildren> nextOfName;  // kGroupedChildren: none
        std::array<std::uint16_t, kGroupedChildren> lastOfName;  // valid for the first of each name
        std::array<bool, kGroupedChildren> firstOfName;
        std::size_t count = 0;
        for (Index child = FirstChild(root); child != kNone; child = At(child).next) {
            if (At(child).isText) continue;
            if (count == kGroupedChildren) return false;
            children[count++] = child;
        }
        // name -> its first; only as many slots as the names need are cleared
        struct Slot {
            const char* name;
            std::uint16_t first;
        };
        std::array<Slot, kNameSlots> slots;
        std::size_t bits = 4;
        while ((std::size_t{1} << bits) < 2 * count) ++bits;
        const std::size_t mask = (std::size_t{1} << bits) - 1;
        std::fill_n(slots.begin(), mask + 1, Slot{nullptr, 0});
        for (std::size_t ordinal = 0; ordinal < count; ++ordinal) {
            nextOfName[ordinal] = kGroupedChildren;
            const char* name = At(children[ordinal]).localName;
            // Interned names lie close together in the dictionary: their addresses are mixed well first.
            std::size_t slot =
                (reinterpret_cast<std::uintptr_t>(name) * std::uint64_t{0x9E3779B97F4A7C15}) >> (64 - bits);
            while (slots[slot].name != nullptr && slots[slot].name != name) slot = (slot + 1) & mask;
            if (slots[slot].name == nullptr) {
                slots[slot] = {name, static_cast<std::uint16_t>(ordinal)};
                firstOfName[ordinal] = true;
                lastOfName[ordinal] = static_cast<std::uint16_t>(ordinal);
            } else {
                const std::uint16_t first = slots[slot].first;
                nextOfName[lastOfName[first]] = static_cast<std::uint16_t>(ordinal);
                lastOfName[first] = static_cast<std::uint16_t>(ordinal);
                firstOfName[ordinal] = false;
            }
        }
        for (std::size_t ordinal = 0; ordinal < count; ++ordinal) {
            const Node& element = At(children[ordinal]);
            if (!firstOfName[ordinal] || IsNamed(element, XmlNamespace::Cim, "Location")) continue;
            WriteProperty(element.localName, [&](std::string& value) {
                for (std::size_t of = ordinal; of != kGroupedChildren; of = nextOfName[of]) {
                    if (of != ordinal) value.push_back(',');
                    AppendValue(At(children[of]), value);
                }
            });
        }
        return true;
    }

    // The stylesheet's "same-property" key: element children of one parent that share a local name
    // (namespaces aside) are the values of one property, listed where the first of them stands. Names are
    // interned, so equal names are one pointer. `first` is the first of the element's siblings.
    bool IsFirstOfItsName(Index first, Index element) const {
        const char* name = At(element).localName;
        for (Index before = first; before != element; before = At(before).next) {
            if (!At(before).isText && At(before).localName == name) return false;
        }
        return true;
    }

    // A property is listed unless its first element is a cim:Location (WS-Management's own addressing).
    bool IsListedProperty(Index first, Index child) const {
        return !At(child).isText && IsFirstOfItsName(first, child) &&
               !IsNamed(At(child), XmlNamespace::Cim, "Location");
    }

    Index FirstElementChild(const Node& element) const {
        for (Index child = FirstChild(element); child != kNone; child = At(child).next) {
            if (!At(child).isText) return child;
        }
        return kNone;
    }

    template <typename Predicate>
    Index FirstElementChildWhere(const Node& element, Predicate predicate) const {
        for (Index child = FirstChild(element); child != kNone; child = At(child).next) {
            if (!At(child).isText && predicate(At(child))) return child;
        }
        return kNone;
    }

    // xsl:strip-space elements="*": a text of only blanks, tabs, CRs and LFs is not part of the tree.
    bool IsStrippedText(const Node& text) const {
        for (const char c : tree_.TextOf(text)) {
            if (c != ' ' && c != '\t' && c != '\r' && c != '\n') return false;  // mostly the first
        }
        return true;
    }

    // The XPath string value of an element: its descendant text in document order.
    void AppendStringValue(const Node& element, std::string& out) const {
        for (Index child = FirstChild(element); child != kNone; child = At(child).next) {
            const Node& node = At(child);
            if (!node.isText) {
                AppendStringValue(node, out);
            } else if (!IsStrippedText(node)) {
                out.append(tree_.TextOf(node));
            }
        }
    }

    std::string StringValue(const Node& element) const {
        std::string value;
        AppendStringValue(element, value);
        return value;
    }

    // translate(value, TAB LF CR, three blanks): a record line holds the whole value.
    void AppendTranslated(std::string_view value) {
        const std::size_t start = out_.size();
        out_.append(value);
        TranslateFrom(start);
    }
    void TranslateFrom(std::size_t start) {
        // Values come from the tree's texts and attribute values, and names hold no such byte.
        if (tree_.HasLineBreaks()) BlankLineBreaks(out_.data() + start, out_.data() + out_.size());
    }

    // The values of the property that `first` starts, joined by ",".
    void AppendJoinedValues(Index first, std::string& value) {
        const char* name = At(first).localName;
        for (Index element = first; element != kNone; element = At(element).next) {
            if (At(element).isText || At(element).localName != name) continue;
            if (element != first) value.push_back(',');
            AppendValue(At(element), value);
        }
    }

    // The "value" mode of the stylesheet, by descending template priority.
    void AppendValue(const Node& element, std::string& value) {
        const std::optional<std::string_view> nil = tree_.AttributeValue(element, XmlNamespace::Xsi, "nil");
        if (nil && (*nil == "true" || *nil == "1")) return;
        const Index first = FirstElementChild(element);
        if (first == kNone) {
            AppendStringValue(element, value);
            return;
        }
        if (IsDateOrInterval(At(first))) {
            AppendStringValue(At(first), value);
            return;
        }
        const Index reference = FirstElementChildWhere(element, [](const Node& child) {
            return IsNamedInEither(child, XmlNamespace::Addressing, "ReferenceParameters");
        });
        if (reference != kNone) {
            AppendObjectPath(At(reference), value);
            return;
        }
        const Index address = FirstElementChildWhere(
            element, [](const Node& child) { return IsNamed(child, XmlNamespace::Addressing, "Address"); });
        if (address != kNone) {
            AppendStringValue(At(address), value);
            return;
        }
        AppendEmbeddedObject(element, value);
    }

    // Name=value pairs of the embedded object's own properties, joined by ";".
    void AppendEmbeddedObject(const Node& element, std::string& value) {
        bool first = true;
        for (Index child = FirstChild(element); child != kNone; child = At(child).next) {
            if (!IsListedProperty(FirstChild(element), child)) continue;
            if (!first) value.push_back(';');
            first = false;
            value.append(At(child).localName);
            value.push_back('=');
            AppendJoinedValues(child, value);
        }
    }

    // Class.Key="value",Key2="value" (Class=@ without selectors), from a ReferenceParameters element.
    void AppendObjectPath(const Node& reference, std::string& value) {
        const Index resourceUri = FirstElementChildWhere(reference, [](const Node& child) {
            return IsNamedInEither(child, XmlNamespace::Wsman, "ResourceURI");
        });
        const std::string uri =
            resourceUri != kNone ? NormalizeSpace(StringValue(At(resourceUri))) : std::string();
        if (CountOf(uri, "/") > kMaxRecursiveCharacters) declined_ = true;
        const std::size_t lastSlash = uri.rfind('/');
        value.append(lastSlash == std::string::npos ? uri : uri.substr(lastSlash + 1));

        bool first = true;
        for (Index set = FirstChild(reference); set != kNone; set = At(set).next) {
            if (!IsNamedInEither(At(set), XmlNamespace::Wsman, "SelectorSet")) continue;
            for (Index selector = FirstChild(At(set)); selector != kNone; selector = At(selector).next) {
                if (!IsNamedInEither(At(selector), XmlNamespace::Wsman, "Selector")) continue;
                value.push_back(first ? '.' : ',');
                first = false;
                value.append(tree_.AttributeValue(At(selector), XmlNamespace::None, "Name").value_or(""));
                value.append("=\"");
                AppendEscapedPathValue(StringValue(At(selector)), value);
                value.push_back('"');
            }
        }
        if (first) value.append("=@");
    }

    // WMI object path quoting: \ and " get a backslash before them.
    void AppendEscapedPathValue(std::string_view text, std::string& value) {
        if (CountOf(text, "\\\"") > kMaxRecursiveCharacters) declined_ = true;
        for (const char c : text) {
            if (c == '\\' || c == '"') value.push_back('\\');
            value.push_back(c);
        }
    }

    const ItemTree& tree_;
    std::string& out_;
    bool declined_ = false;
};

}  // namespace

bool WriteInstanceRecord(const ItemTree& item, std::string& output) {
    output.clear();
    if (item.IsEmpty()) return false;
    RecordWriter writer(item, output);
    return writer.Write();
}

}  // namespace qn::parsing::native
