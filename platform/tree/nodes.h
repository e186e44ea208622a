// Nodes of the engine: the walk over a tree, which takes no stack, their text, making and copying
// them, and the lists that they are put into.
//
// Whatever is made here is whole: where the engine would go on with a part of it for lack of
// memory, std::bad_alloc is raised.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/tree/engine.h"

namespace cfgex::internal {

// --- The shape of a tree

inline bool IsElement(const xmlNode* c_node) noexcept { return c_node->type == XML_ELEMENT_NODE; }
inline bool IsTextNode(const xmlNode* c_node) noexcept {
  return c_node->type == XML_TEXT_NODE || c_node->type == XML_CDATA_SECTION_NODE;
}
inline bool HoldsChildren(const xmlNode* c_node) noexcept {
  return c_node->type == XML_ELEMENT_NODE || c_node->type == XML_DOCUMENT_NODE;
}
inline bool IsInDocument(const xmlNode* c_node) noexcept {
  while (c_node->parent != nullptr) c_node = c_node->parent;
  return c_node->type == XML_DOCUMENT_NODE;
}

// The node after `c_node` in the walk over all nodes of the tree below `c_root`; null at the end.
// With `skipChildren` the walk does not go down from `c_node`.
inline xmlNode* NextInTree(const xmlNode* c_node, const xmlNode* c_root,
                           bool skipChildren = false) noexcept {
  if (!skipChildren && c_node->type == XML_ELEMENT_NODE && c_node->children != nullptr)
    return c_node->children;
  while (c_node != c_root) {
    if (c_node->next != nullptr) return c_node->next;
    c_node = c_node->parent;
  }
  return nullptr;
}

// Calls `visit(xmlNode*)` for each node of the tree and, after its element, for each attribute.
// `c_without`, if not null, and all below it are left out.
template <class F>
void ForEachNode(xmlNode* c_root, const xmlNode* c_without, F&& visit) {
  for (xmlNode* c_node = c_root; c_node != nullptr;) {
    const bool left_out = c_node == c_without;
    if (!left_out) {
      visit(c_node);
      if (c_node->type == XML_ELEMENT_NODE)
        for (xmlAttr* c_attr = c_node->properties; c_attr != nullptr; c_attr = c_attr->next)
          visit(reinterpret_cast<xmlNode*>(c_attr));
    }
    c_node = NextInTree(c_node, c_root, left_out);
  }
}

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

using NodePtr = std::unique_ptr<xmlNode, FreedBy<xmlFreeNode>>;

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
