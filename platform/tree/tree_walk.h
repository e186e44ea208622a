// The shape of the engine's trees, and the walk over them, which takes no stack.
#pragma once

#include <libxml/tree.h>

namespace cfgex::internal {

inline bool IsElement(const xmlNode* c_node) noexcept { return c_node->type == XML_ELEMENT_NODE; }
inline bool IsTextNode(const xmlNode* c_node) noexcept {
  return c_node->type == XML_TEXT_NODE || c_node->type == XML_CDATA_SECTION_NODE;
}
// Whether a text is nothing but white space.
inline bool IsBlank(const xmlNode* c_text) noexcept {
  if (c_text->content == nullptr) return true;
  for (const xmlChar* c = c_text->content; *c != 0; ++c)
    if (*c != ' ' && *c != '\t' && *c != '\n' && *c != '\r') return false;
  return true;
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

}  // namespace cfgex::internal
