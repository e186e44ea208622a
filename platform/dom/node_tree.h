// Nodes of the engine's trees: whom they belong to, how they move, when they are freed.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/dom/dom.h"
#include "platform/dom/live_counts.h"
#include "platform/tree/tree_walk.h"

namespace cfgex::internal {

class Document;

// A tree that is not the tree of its document: what was created, copied or cut out, an attribute in
// no element included. It lives as long as there are wrappers in it.
struct Fragment {
  explicit Fragment(xmlNode* c_top) : c_root(c_top) {}
  ~Fragment();  // frees the tree
  Fragment(const Fragment&) = delete;
  Fragment& operator=(const Fragment&) = delete;

  xmlNode* c_root;           // null once the tree has gone elsewhere
  xmlNs* c_ownNs = nullptr;  // the namespace of an attribute in no element
  std::size_t wrappers = 0;
  Counter<&LiveCounts::fragments> counter;
};

// The part of a node's object that does not depend on its kind. `xmlNode::_private` points here.
class Wrapper {
 public:
  // Takes a count on the document. `fragment` is null for a node in the document's tree.
  Wrapper(Document& document, Fragment* fragment, xmlNode* c_node) noexcept;
  virtual ~Wrapper();
  Wrapper(const Wrapper&) = delete;
  Wrapper& operator=(const Wrapper&) = delete;

  virtual IXMLDOMNode& Node() noexcept = 0;

  static Wrapper* Of(const xmlNode* c_node) noexcept {
    return static_cast<Wrapper*>(c_node->_private);
  }

  Document* m_pDocument;
  Fragment* m_pFragment;
  xmlNode* m_c_node;

 private:
  Counter<&LiveCounts::nodes> m_Counter;
};

// The document that a node belongs to.
Document& DocumentOf(const xmlNode* c_node) noexcept;
// The one object of a node; makes it if there is none. The node's tree is `fragment`, or the
// document's if that is null. A document's node gives the document.
ComPtr<IXMLDOMNode> Wrap(xmlNode* c_node, Fragment* fragment);
// The fragment that a node with an object stands in; null for the document's tree.
inline Fragment* FragmentOf(const xmlNode* c_node) noexcept {
  return c_node->type == XML_DOCUMENT_NODE ? nullptr : Wrapper::Of(c_node)->m_pFragment;
}
// Takes over a node in no tree and makes its object. The node is freed if that fails.
ComPtr<IXMLDOMNode> WrapNew(xmlNode* c_node, xmlNs* c_ownNs = nullptr);

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
// A text for the engine. Raises for what XML cannot carry.
std::string EngineText(std::wstring_view text);

// --- Making nodes, in no tree. All raise for lack of memory.

struct FreeNode {
  void operator()(xmlNode* c_node) const noexcept { xmlFreeNode(c_node); }
};
using NodePtr = std::unique_ptr<xmlNode, FreeNode>;

xmlNode* NewText(xmlDoc* c_document, const std::string& text);
xmlNode* NewElement(xmlDoc* c_document, const xmlChar* c_name);

// A name as a node of the document holds it: the one in the document's dictionary if it is there,
// else one of its own. Raises for lack of memory.
const xmlChar* NewName(xmlDoc* c_document, const xmlChar* c_name);

// A copy with all below it, in no tree, self-contained as to namespaces.
xmlNode* CopyTree(const xmlNode* c_root);

// An attribute in no element, without a namespace. Raises for lack of memory.
xmlAttr* NewAttribute(xmlDoc* c_document, const xmlChar* c_name, const std::string& value);
void AppendAttribute(xmlNode* c_element, xmlAttr* c_attr) noexcept;
void AppendNs(xmlNode* c_element, xmlNs* c_ns) noexcept;
void RemoveNs(xmlNode* c_element, xmlNs* c_ns) noexcept;  // unlinks it

// --- Moving

// A tree (or an attribute) on its way from its place to another, or out of all trees. Making one
// does everything that can fail and changes nothing; the rest raises nothing.
class Move {
 public:
  // Out: what nobody holds is freed, the rest becomes a fragment and its root keeps its
  // declaration. `c_without` and all below it are about to leave the tree by another move.
  static Move Out(xmlNode* c_root, const xmlNode* c_without = nullptr) {
    return {c_root, nullptr, c_without};
  }
  // To be a child, or an attribute, of `c_parent`.
  static Move To(xmlNode* c_root, xmlNode* c_parent) { return {c_root, c_parent, nullptr}; }
  Move(Move&& other) noexcept = default;
  Move& operator=(Move&&) = delete;
  ~Move();

  // Takes the tree from its place, if it has one.
  void Unlink() noexcept;
  // Ends a move out.
  void Release() noexcept;
  // Ends the other kind: links the tree at the end, or in the place of a child, which leaves it.
  void Link() noexcept;
  void LinkInPlaceOf(xmlNode* c_old) noexcept;

 private:
  struct NewString {
    const xmlChar** slot;
    const xmlChar* c_string;
    bool isOwned;
  };

  Move(xmlNode* c_root, xmlNode* c_parent, const xmlNode* c_without);
  void PruneDeclarations();
  void AdoptStrings(xmlNode* c_node);
  void AdoptString(const xmlChar*& c_string, bool isName);
  void ResolveNs(const xmlNode* c_element, xmlNs* c_ns);
  void ResolveOuterNs(xmlNs* c_ns);
  bool AreValuesAtRisk() const noexcept;
  void ResolvePrefix(const xmlNode* c_element, std::string_view prefix);
  void ProtectNoNamespace(const xmlNode* c_element);
  void Declare(const std::string& prefix, xmlNs* c_replaced);
  bool IsPrefixInside(const xmlNode* c_element, std::string_view prefix) const noexcept;
  xmlNs* const* Replacement(const xmlNs* c_ns) const noexcept;
  void ReplaceNs(xmlNs*& c_ns) const noexcept;
  void Discard() noexcept;
  void Settle() noexcept;
  void SettleWrapper(Wrapper& wrapper) const noexcept;

  xmlNode* m_c_root;
  xmlNode* m_c_parent;  // null when moving out
  xmlDoc* m_c_oldDocument;
  xmlDoc* m_c_newDocument;
  Document* m_pOldDocument;
  Document* m_pNewDocument;
  Fragment* m_pOldFragment;
  std::unique_ptr<Fragment> m_Made;
  Fragment* m_pNewFragment = nullptr;
  std::size_t m_Wrappers = 0;
  bool m_NoNamespaceAtRisk;  // elements in no namespace would fall into the new place's default one
  std::vector<NewString> m_Strings;
  std::vector<std::pair<xmlNs*, xmlNs*>> m_Namespaces;  // what to point at instead
  std::vector<xmlNs*> m_Declarations;                   // to be made on the root
  std::vector<xmlNs*> m_Pruned;                         // to be taken from the root
};

}  // namespace cfgex::internal
