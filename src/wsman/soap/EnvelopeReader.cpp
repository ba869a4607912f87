#include "wsman/soap/EnvelopeReader.h"

#include <libxml/parser.h>

#include <cstring>
#include <memory>

#include "wsman/core/ItemArena.h"
#include "wsman/core/ItemTree.h"
#include "wsman/core/UntrustedXml.h"
#include "wsman/soap/Namespaces.h"

namespace wsman::soap {

namespace {

constexpr const char* kXmlSchemaInstance = "http://www.w3.org/2001/XMLSchema-instance";

// What an element is to the reader, from its parent's role and its own name.
enum class Role { Other, Envelope, Header, Body, Action, RelatesTo, Response, Context, Items, Item };

// The local name first: it is short and mostly settles it.
bool Is(const xmlChar* uri, const xmlChar* localName, const char* wantedUri, const char* wantedName) {
    return uri != nullptr && std::strcmp(reinterpret_cast<const char*>(localName), wantedName) == 0 &&
           std::strcmp(reinterpret_cast<const char*>(uri), wantedUri) == 0;
}

bool IsEither(const xmlChar* uri, const xmlChar* localName, const char* wantedName) {
    return Is(uri, localName, ns::kWsman, wantedName) || Is(uri, localName, ns::kEnumeration, wantedName);
}

std::string_view View(const xmlChar* text) {
    return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

void AppendEscapedAttribute(std::string& out, std::string_view value) {
    for (const char c : value) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\t':
                out += "&#9;";
                break;
            case '\n':
                out += "&#10;";
                break;
            case '\r':
                out += "&#13;";
                break;
            default:
                out += c;
        }
    }
}

struct Reader {
    Reader(std::string_view replyText, EnvelopeSummary& into) : text(replyText), summary(into) {}

    std::string_view text;
    EnvelopeSummary& summary;
    xmlParserCtxt* ctxt = nullptr;  // of the event being handled
    bool refused = false;

    std::vector<Role> roles;  // one per open element
    bool sawRoot = false;
    bool sawHeader = false;
    bool sawBody = false;
    bool sawAction = false;
    bool sawContext = false;
    bool sawItems = false;
    std::string* capture = nullptr;  // text of the open Action, RelatesTo or EnumerationContext
    std::size_t captureDepth = 0;

    // Namespace declarations of the open elements, innermost last; `marks` says where each element's start.
    // Prefixes and URIs are the parser's interned strings, which live as long as the parse.
    std::vector<std::pair<std::string_view, std::string_view>> declarations;
    std::vector<std::size_t> marks;

    // The item being read: where its start tag begins, the length of its name, the declarations in scope
    // around it and the prefixes its subtree uses ("" for the default namespace).
    std::size_t itemStart = 0;
    std::size_t itemNameLength = 0;
    std::size_t itemDepth = 0;
    std::size_t depthInItem = 0;  // elements open below the item's own
    std::vector<std::pair<std::string_view, std::string_view>> outside;
    std::vector<std::string> usedPrefixes;
    std::vector<const xmlChar*> seenPrefixes;  // the parser's interned prefixes already in usedPrefixes
    // The item's tree, built from the same events, and its text; both are placed in the reply's arena.
    xml::ItemTreeBuilder treeBuilder;
    std::string itemDeclarations;
    std::shared_ptr<xml::ItemArena> arena;

    static Reader& Of(void* ctx) {
        auto* parser = static_cast<xmlParserCtxt*>(ctx);
        Reader& reader = *static_cast<Reader*>(parser->_private);
        reader.ctxt = parser;
        return reader;
    }

    void Refuse() {
        refused = true;
        xmlStopParser(ctxt);
    }

    // Offset in `text` of the parser's position. The text is read as UTF-8 without a converter, so the
    // input holds the text's own bytes.
    std::size_t Position() const {
        const xmlParserInput* input = ctxt->input;
        return static_cast<std::size_t>(input->consumed) + static_cast<std::size_t>(input->cur - input->base);
    }

    Role RoleOf(const xmlChar* localName, const xmlChar* uri) {
        const Role parent = roles.empty() ? Role::Other : roles.back();
        if (roles.empty()) {
            sawRoot = true;
            return Is(uri, localName, ns::kSoap, "Envelope") ? Role::Envelope : Role::Other;
        }
        switch (parent) {
            case Role::Envelope:
                if (!sawHeader && Is(uri, localName, ns::kSoap, "Header"))
                    return sawHeader = true, Role::Header;
                if (!sawBody && Is(uri, localName, ns::kSoap, "Body")) return sawBody = true, Role::Body;
                return Role::Other;
            case Role::Header:
                if (!sawAction && Is(uri, localName, ns::kAddressing, "Action"))
                    return sawAction = true, Role::Action;
                if (!summary.hasRelatesTo && Is(uri, localName, ns::kAddressing, "RelatesTo"))
                    return summary.hasRelatesTo = true, Role::RelatesTo;
                return Role::Other;
            case Role::Body:
                if (Is(uri, localName, ns::kSoap, "Fault")) summary.hasFault = true;
                if (summary.response != EnvelopeSummary::Response::None) return Role::Other;
                if (Is(uri, localName, ns::kEnumeration, "EnumerateResponse"))
                    return summary.response = EnvelopeSummary::Response::Enumerate, Role::Response;
                if (Is(uri, localName, ns::kEnumeration, "PullResponse"))
                    return summary.response = EnvelopeSummary::Response::Pull, Role::Response;
                return Role::Other;
            case Role::Response:
                if (!sawContext && Is(uri, localName, ns::kEnumeration, "EnumerationContext"))
                    return sawContext = true, Role::Context;
                if (IsEither(uri, localName, "EndOfSequence")) summary.endOfSequence = true;
                if (!sawItems && IsEither(uri, localName, "Items")) return sawItems = true, Role::Items;
                return Role::Other;
            case Role::Items:
                return Role::Item;
            default:
                return Role::Other;
        }
    }

    void Use(std::string_view prefix) {
        for (const std::string& known : usedPrefixes) {
            if (known == prefix) return;
        }
        usedPrefixes.emplace_back(prefix);
    }

    // An element's or attribute's prefix: the parser's interned string, and an item uses a few, so
    // comparing pointers mostly settles it.
    void UsePrefixOf(const xmlChar* prefix) {
        for (const xmlChar* seen : seenPrefixes) {
            if (seen == prefix) return;
        }
        seenPrefixes.push_back(prefix);
        Use(View(prefix));
    }

    // Within an item everything is Other: only its tree and the prefixes it uses are read.
    void StartItemContent(const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                          int attributeCount, const xmlChar** attributes) {
        treeBuilder.StartElement(localName, prefix, uri, attributeCount, attributes);
        UsePrefixOf(prefix);
        for (int i = 0; i < attributeCount; ++i) {
            const xmlChar* const* attribute = attributes + 5 * i;  // local name, prefix, URI, value, end
            if (attribute[1] != nullptr) UsePrefixOf(attribute[1]);
            // A QName value ("p:Win32_Service_Type") uses its prefix too.
            if (attribute[2] != nullptr && Is(attribute[2], attribute[0], kXmlSchemaInstance, "type")) {
                const std::string_view value(reinterpret_cast<const char*>(attribute[3]),
                                             static_cast<std::size_t>(attribute[4] - attribute[3]));
                const std::size_t colon = value.find(':');
                Use(colon == std::string_view::npos ? std::string_view() : value.substr(0, colon));
            }
        }
    }

    void BeginItem(const xmlChar* localName, const xmlChar* prefix, int namespaceCount,
                   const xmlChar** namespaces) {
        // The start tag ends at the parser's position; '<' cannot occur inside it.
        itemStart = text.rfind('<', Position());
        itemNameLength = View(localName).size() + (prefix != nullptr ? View(prefix).size() + 1 : 0);
        itemDepth = roles.size() + 1;
        treeBuilder.Begin(ctxt->dict);
        usedPrefixes.clear();
        seenPrefixes.clear();
        outside.clear();
        // Innermost declaration of each prefix, unless the item declares that prefix itself.
        for (std::size_t i = declarations.size(); i-- > 0;) {
            const auto& [declared, uri] = declarations[i];
            bool shadowed = false;
            for (int n = 0; n < namespaceCount && !shadowed; ++n)
                shadowed = View(namespaces[2 * n]) == declared;
            for (const auto& kept : outside) shadowed = shadowed || kept.first == declared;
            if (!shadowed) outside.emplace_back(declared, uri);
        }
    }

    void EndItem() {
        const std::size_t end = Position();
        if (itemStart == std::string_view::npos || end > text.size() || end <= itemStart) {
            Refuse();
            return;
        }
        const std::size_t nameEnd = itemStart + 1 + itemNameLength;
        // The declarations the item takes from the envelope go after its name.
        std::string& declared = itemDeclarations;
        declared.clear();
        for (const auto& [prefix, uri] : outside) {
            bool used = false;
            for (const std::string& known : usedPrefixes) used = used || known == prefix;
            if (!used) continue;
            declared += prefix.empty() ? " xmlns=\"" : " xmlns:";
            if (!prefix.empty()) declared.append(prefix).append("=\"");
            AppendEscapedAttribute(declared, uri);
            declared += '"';
        }
        const std::string_view head = text.substr(itemStart, nameEnd - itemStart);
        const std::string_view rest = text.substr(nameEnd, end - nameEnd);
        if (arena == nullptr) arena = std::make_shared<xml::ItemArena>();
        const xml::ItemTree* tree = treeBuilder.Finish(*arena, {head, declared, rest});
        if (tree != nullptr) {
            summary.items.emplace_back(std::shared_ptr<const xml::ItemTree>(arena, tree), tree->Source());
        } else {
            // Without a tree (memory or the dictionary's reference could not be had) the item is read
            // again from its text.
            summary.items.emplace_back(std::string(head).append(declared).append(rest));
        }
    }

    static void StartElement(void* ctx, const xmlChar* localName, const xmlChar* prefix, const xmlChar* uri,
                             int namespaceCount, const xmlChar** namespaces, int attributeCount, int,
                             const xmlChar** attributes) {
        Reader& self = Of(ctx);
        if (self.itemDepth != 0) {
            // Below an item's element only its tree and its prefixes matter; declarations made down
            // there concern nothing outside the item.
            self.StartItemContent(localName, prefix, uri, attributeCount, attributes);
            ++self.depthInItem;
            return;
        }
        const Role role = self.RoleOf(localName, uri);
        if (role == Role::Item) self.BeginItem(localName, prefix, namespaceCount, namespaces);
        if (self.itemDepth != 0) self.StartItemContent(localName, prefix, uri, attributeCount, attributes);
        self.marks.push_back(self.declarations.size());
        for (int n = 0; n < namespaceCount; ++n)
            self.declarations.emplace_back(View(namespaces[2 * n]), View(namespaces[2 * n + 1]));
        self.roles.push_back(role);
        if (role == Role::Action || role == Role::RelatesTo || role == Role::Context) {
            self.capture = role == Role::Action      ? &self.summary.action
                           : role == Role::RelatesTo ? &self.summary.relatesTo
                                                     : &self.summary.context;
            self.captureDepth = self.roles.size();
        }
    }

    static void EndElement(void* ctx, const xmlChar*, const xmlChar*, const xmlChar*) {
        Reader& self = Of(ctx);
        if (self.depthInItem != 0) {
            --self.depthInItem;
            self.treeBuilder.EndElement();
            return;
        }
        if (self.roles.empty()) return;
        if (self.itemDepth != 0) self.treeBuilder.EndElement();
        if (self.roles.size() == self.itemDepth) {
            self.EndItem();
            self.itemDepth = 0;
        }
        if (self.roles.size() == self.captureDepth) {
            self.capture = nullptr;
            self.captureDepth = 0;
        }
        self.declarations.resize(self.marks.back());
        self.marks.pop_back();
        self.roles.pop_back();
    }

    static void Characters(void* ctx, const xmlChar* characters, int length) {
        Reader& self = Of(ctx);
        if (self.itemDepth != 0) self.treeBuilder.Characters(characters, length);
        if (self.capture != nullptr && length > 0)
            self.capture->append(reinterpret_cast<const char*>(characters), static_cast<std::size_t>(length));
    }

    // Within an item, a comment or processing instruction separates two texts.
    static void Comment(void* ctx, const xmlChar*) {
        Reader& self = Of(ctx);
        if (self.itemDepth != 0) self.treeBuilder.Separator();
    }
    static void Instruction(void* ctx, const xmlChar*, const xmlChar*) { Comment(ctx, nullptr); }

    // A reference to a declared entity needs a DTD, which the parse refuses; should one come anyway, the
    // reply is refused too rather than read without it.
    static void RefuseReference(void* ctx, const xmlChar*) { Of(ctx).Refuse(); }
};

}  // namespace

EnvelopeReadOutcome ReadEnvelope(std::string_view text, EnvelopeSummary& summary,
                                 std::shared_ptr<xml::ItemArena> arena) {
    summary = EnvelopeSummary();
    xmlSAXHandler handlers{};
    handlers.startElementNs = Reader::StartElement;
    handlers.endElementNs = Reader::EndElement;
    handlers.characters = Reader::Characters;
    handlers.comment = Reader::Comment;
    handlers.processingInstruction = Reader::Instruction;
    handlers.reference = Reader::RefuseReference;
    Reader reader(text, summary);
    reader.arena = std::move(arena);
    xmlDict* const dictionary = reader.arena != nullptr ? reader.arena->Dictionary() : nullptr;
    switch (xml::ReadUntrusted(text, handlers, &reader, dictionary)) {
        case xml::UntrustedRead::AttributeFlood:
            return EnvelopeReadOutcome::AttributeFlood;
        case xml::UntrustedRead::Refused:
            return EnvelopeReadOutcome::NotWellFormed;
        default:
            break;
    }
    if (reader.refused || !reader.sawRoot) return EnvelopeReadOutcome::NotWellFormed;
    summary.isEnvelope = reader.sawBody;
    return EnvelopeReadOutcome::Read;
}

}  // namespace wsman::soap
