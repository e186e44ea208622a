// Moving a tree: what goes with it, and what its new place makes of it.
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/dom/fragment.h"

namespace cfgex::internal {

// A tree on its way from its place to another, or out of all trees. Making one
// does everything that can fail and changes nothing; the rest raises nothing.
class Move {
 public:
  // Out: what nobody holds is freed, the rest becomes a fragment and its root keeps its
  // declaration. `c_without` and all below it are about to leave the tree by another move.
  static Move Out(xmlNode* c_root, const xmlNode* c_without = nullptr) {
    return {c_root, nullptr, c_without};
  }
  // To be a child of `c_parent`.
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
  void Declare(std::string_view prefix, xmlNs* c_replaced);
  bool IsPrefixInside(const xmlNode* c_element, std::string_view prefix) const noexcept;
  xmlNs* const* Replacement(const xmlNs* c_ns) const noexcept;
  void ReplaceNs(xmlNs*& c_ns) const noexcept;
  void Discard() noexcept;
  void Settle() noexcept;

  xmlNode* m_c_root;
  xmlNode* m_c_parent;  // null when moving out
  xmlDoc* m_c_oldDocument;
  xmlDoc* m_c_newDocument;
  IXMLDOMDocument2* m_pOldDocument;
  IXMLDOMDocument2* m_pNewDocument;
  Fragment* m_pOldFragment;
  std::unique_ptr<Fragment> m_Made;
  Fragment* m_pNewFragment = nullptr;
  std::size_t m_Objects = 0;
  bool m_NoNamespaceAtRisk;  // elements in no namespace would fall into the new place's default one
  std::vector<NewString> m_Strings;
  std::vector<std::pair<xmlNs*, xmlNs*>> m_Namespaces;  // what to point at instead
  std::vector<xmlNs*> m_Declarations;                   // to be made on the root
  std::vector<xmlNs*> m_Pruned;                         // to be taken from the root
};

}  // namespace cfgex::internal
