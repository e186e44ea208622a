// Who owns the nodes of the engine's trees, and the objects of these nodes.
// `xmlNode::_private` points to the object of a node, if it has one.
#pragma once

#include <libxml/tree.h>

#include <cstddef>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// A tree that is not the tree of its document: what was created, copied or cut out. It lives as
// long as there are objects of nodes in it.
struct Fragment {
  explicit Fragment(xmlNode* c_top) noexcept : c_root(c_top) {}
  ~Fragment();  // frees the tree
  Fragment(const Fragment&) = delete;
  Fragment& operator=(const Fragment&) = delete;

  xmlNode* c_root;  // null once the tree has gone elsewhere
  std::size_t objects = 0;
};

// The document that a node belongs to, or is.
inline IXMLDOMDocument2& DocumentOf(const xmlNode* c_node) noexcept {
  return static_cast<IXMLDOMDocument2&>(*static_cast<IXMLDOMNode*>(c_node->doc->_private));
}
// The object of a node, null if it has none.
inline IXMLDOMNode* ObjectOf(const xmlNode* c_node) noexcept {
  return static_cast<IXMLDOMNode*>(c_node->_private);
}
// The one object of a node; makes it if there is none. The node's tree is `fragment`, or the
// document's if that is null.
ComPtr<IXMLDOMNode> Wrap(xmlNode* c_node, Fragment* fragment);
// Takes over a tree and makes the object of a node in it: of its root, or of an attribute of that.
// The tree is freed if that fails.
ComPtr<IXMLDOMNode> WrapNew(xmlNode* c_root, xmlAttr* c_attr = nullptr);

}  // namespace cfgex::internal
