// One item of an enumeration as the client hands it over: its XML text, a standalone document, and the
// element tree read from the reply in the same pass, so that no one reads the text again. The tree holds
// the text; both live in the enumeration's arena, shared by its items. Windows' WinRM objects hand over
// text alone, and the tree is then null.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace wsman {

namespace xml {
class ItemTree;
}

class EnumeratedItem {
  public:
    EnumeratedItem() = default;
    // Text alone.
    explicit EnumeratedItem(std::string text) : ownText_(std::move(text)) {}
    // A tree and its text, which the tree's owner keeps alive.
    EnumeratedItem(std::shared_ptr<const xml::ItemTree> tree, std::string_view text)
        : tree_(std::move(tree)), treeText_(text) {}

    std::string_view Text() const { return tree_ != nullptr ? treeText_ : std::string_view(ownText_); }
    const std::shared_ptr<const xml::ItemTree>& Tree() const { return tree_; }

  private:
    std::string ownText_;
    std::shared_ptr<const xml::ItemTree> tree_;
    std::string_view treeText_;
};

}  // namespace wsman
