// One item of an enumeration as the client hands it over: its XML text, a standalone document, and the
// element tree read from the reply in the same pass, so that no one reads the text again. Windows' WinRM
// objects hand over text alone, and the tree is then null.
#pragma once

#include <memory>
#include <string>

namespace wsman {

namespace xml {
class ItemTree;
}

struct EnumeratedItem {
    std::string text;
    std::shared_ptr<const xml::ItemTree> tree;
};

}  // namespace wsman
