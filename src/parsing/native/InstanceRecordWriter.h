// The record text of the installation's WsmTxtEx.xsl, written straight from an item's tree.
//
// libxslt spends most of an item's time setting up and tearing down a transformation (context, XPath
// machinery, key tables, result tree); for the thousands of items of a process list that cost dominates
// the check. This writer produces the same text without a transformation. It is only used for a stylesheet
// file whose content is byte for byte the one it was written against (see BuiltinStylesheets.h), and it
// declines the rare items on which libxslt's own limits could decide the outcome, so that libxslt answers
// those: nobody can tell which of the two produced a record.
#pragma once

#include <string>

#include "wsman/core/ItemTree.h"

namespace qn::parsing::native {

using ::wsman::xml::ItemTree;
using ::wsman::xml::XmlNamespace;

// Replaces `output` with the record text and returns true; false for an item it leaves to libxslt (deep
// nesting, xml:space, or a reference whose resource URI or selector values would recurse far in the
// stylesheet), `output` then holding nothing of use. `output` keeps its capacity from item to item.
bool WriteInstanceRecord(const ItemTree& item, std::string& output);

}  // namespace qn::parsing::native
