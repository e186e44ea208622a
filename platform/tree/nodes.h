// Nodes of the engine in no tree: making and copying them, and the lists that they are put into.
//
// Whatever is made here is whole: where the engine would go on with a part of it for lack of
// memory, std::bad_alloc is raised.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/tree/tree_walk.h"

namespace cfgex::internal {

// --- Text. XPath's string value and the interface's text are the same: text and CDATA in order.

template <class F>
void ForEachText(const xmlNode* c_node, F&& visit) {
  if (!HoldsChildren(c_node) && c_node->type != XML_ATTRIBUTE_NODE) {
    if (c_node->content != nullptr) visit(reinterpret_cast<const char*>(c_node->content));
    return;
  }
  for (const xmlNode* c_at = c_node->children; c_at != nullptr;) {
    if (IsTextNode(c_at) && c_at->content != nullptr)
      visit(reinterpret_cast<const char*>(c_at->content));
    c_at = NextInTree(c_at, c_node);
  }
}
std::string TextOf(const xmlNode* c_node);
// A text for the engine. Raises _com_error for what XML cannot carry, and what is too long.
std::string EngineText(std::wstring_view text);

// --- Making

struct FreeNode {
  void operator()(xmlNode* c_node) const noexcept { xmlFreeNode(c_node); }
};
using NodePtr = std::unique_ptr<xmlNode, FreeNode>;

xmlNode* NewText(xmlDoc* c_document, const std::string& text);
xmlNode* NewElement(xmlDoc* c_document, const xmlChar* c_name);
// An attribute without a namespace.
xmlAttr* NewAttribute(xmlDoc* c_document, const xmlChar* c_name, const std::string& value);
// A name as a node of the document holds it: the one in the document's dictionary if it is there,
// else one of its own.
const xmlChar* NewName(xmlDoc* c_document, const xmlChar* c_name);

// A copy with all below it. It is self-contained as to namespaces.
xmlNode* CopyTree(const xmlNode* c_root);

// --- The lists of an element

void AppendAttribute(xmlNode* c_element, xmlAttr* c_attr) noexcept;
void AppendNs(xmlNode* c_element, xmlNs* c_ns) noexcept;
void RemoveNs(xmlNode* c_element, xmlNs* c_ns) noexcept;  // unlinks it

}  // namespace cfgex::internal
