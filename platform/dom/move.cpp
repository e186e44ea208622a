// Moving a tree is done in these steps. While the object is made, with nothing changed yet:
//   1. count the objects of nodes in the tree, and make the fragment if it will need one;
//   2. copy the strings that live in the old document's dictionary, which may die first;
//   3. for each namespace that the tree uses from outside, find the same declaration in the new
//      place, or make one for the root; likewise for each prefix before a colon in a
//      text or attribute value, and xmlns="" where the new place would pull elements, or names in
//      values, into its default namespace;
//   4. find the root's declarations that the new place makes superfluous.
// Then, raising nothing: unlink, settle (document, strings, namespaces, objects), link.
#include "platform/dom/move.h"

#include <new>

#include "platform/dom/dom_document.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// The fragment that the tree leaves. Its root or the root's parent has an object.
Fragment* OldFragment(const xmlNode* c_root) noexcept {
  return ObjectOf(ObjectOf(c_root) != nullptr ? c_root : c_root->parent)->TreeFragment();
}

}  // namespace

Move::Move(xmlNode* c_root, xmlNode* c_parent, const xmlNode* c_without)
    : m_c_root(c_root),
      m_c_parent(c_parent),
      m_c_oldDocument(c_root->doc),
      m_c_newDocument(c_parent != nullptr ? c_parent->doc : c_root->doc),
      m_pOldDocument(&DocumentOf(c_root)),
      m_pNewDocument(c_parent != nullptr ? &DocumentOf(c_parent) : m_pOldDocument),
      m_pOldFragment(OldFragment(c_root)),
      m_NoNamespaceAtRisk(!Uri(FindNs(c_parent, "")).empty()) {
  if (c_parent == nullptr) {
    m_Made = std::make_unique<Fragment>(nullptr);
    m_pNewFragment = m_Made.get();
    m_pOldDocument->Own().FixDeclaration(c_root);
  } else {
    m_pNewFragment = ObjectOf(c_parent)->TreeFragment();
  }
  const bool adopt = m_c_newDocument != m_c_oldDocument && m_c_oldDocument->dict != nullptr;
  try {
    PruneDeclarations();
    ForEachNode(c_root, c_without, [&](xmlNode* c_node) {
      if (c_node->_private != nullptr) ++m_Objects;
      if (adopt) AdoptStrings(c_node);
      if (IsElement(c_node)) {
        if (c_node->ns != nullptr)
          ResolveNs(c_node, c_node->ns);
        else
          ProtectNoNamespace(c_node);
      } else if (c_node->type == XML_ATTRIBUTE_NODE) {
        const auto* c_attr = reinterpret_cast<const xmlAttr*>(c_node);
        if (c_attr->ns != nullptr) ResolveNs(c_attr->parent, c_attr->ns);
      }
    });
    if (!AreValuesAtRisk()) return;
    ForEachNode(c_root, c_without, [&](xmlNode* c_node) {
      if (!IsElement(c_node)) return;
      for (const std::string& prefix : PrefixesInValues(c_node)) ResolvePrefix(c_node, prefix);
    });
  } catch (...) {
    Discard();
    throw;
  }
}

Move::~Move() { Discard(); }

void Move::Discard() noexcept {
  for (const NewString& string : m_Strings)
    if (string.isOwned) xmlFree(const_cast<xmlChar*>(string.c_string));
  for (xmlNs* c_ns : m_Declarations)
    if (c_ns != nullptr) xmlFreeNs(c_ns);
  m_Strings.clear();
  m_Declarations.clear();
}

// --- Strings

void Move::AdoptString(const xmlChar*& c_string, bool isName) {
  if (c_string == nullptr || xmlDictOwns(m_c_oldDocument->dict, c_string) != 1) return;
  m_Strings.push_back({&c_string, nullptr, false});
  NewString& string = m_Strings.back();
  string.c_string = isName ? NewName(m_c_newDocument, c_string) : xmlStrdup(c_string);
  if (string.c_string == nullptr) throw std::bad_alloc();
  string.isOwned =
      m_c_newDocument->dict == nullptr || xmlDictOwns(m_c_newDocument->dict, string.c_string) != 1;
}

void Move::AdoptStrings(xmlNode* c_node) {
  AdoptString(c_node->name, true);
  if (c_node->type == XML_ATTRIBUTE_NODE) {
    for (xmlNode* c_text = c_node->children; c_text != nullptr; c_text = c_text->next)
      AdoptString(const_cast<const xmlChar*&>(c_text->content), false);
  } else {
    AdoptString(const_cast<const xmlChar*&>(c_node->content), false);
  }
}

// --- Namespaces

xmlNs* const* Move::Replacement(const xmlNs* c_ns) const noexcept {
  for (const auto& [c_from, c_to] : m_Namespaces)
    if (c_from == c_ns) return &c_to;
  return nullptr;
}

void Move::ReplaceNs(xmlNs*& c_ns) const noexcept {
  if (c_ns == nullptr) return;
  if (xmlNs* const* found = Replacement(c_ns)) c_ns = *found;
}

void Move::PruneDeclarations() {
  if (!IsElement(m_c_root)) return;
  for (xmlNs* c_ns = m_c_root->nsDef; c_ns != nullptr; c_ns = c_ns->next) {
    xmlNs* c_outer = FindNs(m_c_parent, Prefix(c_ns));
    const bool isSame = c_outer != nullptr ? SameNs(c_ns, c_outer) : Uri(c_ns).empty();
    if (!isSame) continue;
    m_Pruned.push_back(c_ns);
    m_Namespaces.emplace_back(c_ns, c_outer);
  }
}

// Makes a declaration like `c_replaced`, with that prefix, to take its place.
void Move::Declare(std::string_view prefix, xmlNs* c_replaced) {
  m_Declarations.push_back(nullptr);
  m_Declarations.back() = NewNs(prefix, Uri(c_replaced));
  if (c_replaced != nullptr) m_Namespaces.emplace_back(c_replaced, m_Declarations.back());
}

void Move::ResolveNs(const xmlNode* c_element, xmlNs* c_ns) {
  if (Replacement(c_ns) != nullptr) return;
  if (Uri(c_ns) == Chars(XML_XML_NAMESPACE)) {
    if (m_c_newDocument != m_c_oldDocument)
      m_Namespaces.emplace_back(c_ns, XmlPrefixNs(m_c_newDocument));
    return;
  }
  if (IsPrefixInside(c_element, Prefix(c_ns))) return;
  ResolveOuterNs(c_ns);
}

void Move::ResolveOuterNs(xmlNs* c_ns) {
  if (Replacement(c_ns) != nullptr) return;
  xmlNs* c_found = FindNs(m_c_parent, Prefix(c_ns));
  if (c_found != nullptr && SameNs(c_found, c_ns)) {
    m_Namespaces.emplace_back(c_ns, c_found);
    return;
  }
  Declare(Prefix(c_ns), c_ns);
}

// Whether a prefix, or a name without one, means something else in the new place.
bool Move::AreValuesAtRisk() const noexcept {
  if (!IsElement(m_c_root)) return false;
  for (const xmlNode* c_at = m_c_root->parent; c_at != nullptr && c_at->type == XML_ELEMENT_NODE;
       c_at = c_at->parent) {
    for (const xmlNs* c_ns = c_at->nsDef; c_ns != nullptr; c_ns = c_ns->next)
      if (Uri(FindNs(m_c_parent, Prefix(c_ns))) != Uri(c_ns)) return true;
  }
  return m_NoNamespaceAtRisk;
}

void Move::ResolvePrefix(const xmlNode* c_element, std::string_view prefix) {
  if (IsPrefixInside(c_element, prefix)) return;
  xmlNs* c_outer = FindNs(m_c_root->parent, prefix);
  if (!Uri(c_outer).empty())
    ResolveOuterNs(c_outer);
  else if (prefix.empty())
    ProtectNoNamespace(c_element);
}

void Move::ProtectNoNamespace(const xmlNode* c_element) {
  if (!m_NoNamespaceAtRisk || IsPrefixInside(c_element, "")) return;
  Declare("", nullptr);
  m_NoNamespaceAtRisk = false;
}

bool Move::IsPrefixInside(const xmlNode* c_element, std::string_view prefix) const noexcept {
  for (;; c_element = c_element->parent) {
    if (OwnNs(c_element, prefix) != nullptr) return true;
    if (c_element == m_c_root) return false;
  }
}

// --- The change itself

void Move::Unlink() noexcept { m_pOldDocument->Own().changes.Unlink(m_c_root); }

void Move::Release() noexcept {
  if (m_Objects == 0) {
    xmlFreeNode(m_c_root);
    return;
  }
  m_Made->c_root = m_c_root;
  Settle();
}

void Move::Link() noexcept {
  Settle();
  m_pNewDocument->Own().changes.Link(m_c_root, m_c_parent);
}

void Move::LinkInPlaceOf(xmlNode* c_old) noexcept {
  Settle();
  m_pNewDocument->Own().changes.Replace(c_old, m_c_root);
}

void Move::Settle() noexcept {
  for (xmlNs* c_ns : m_Pruned) RemoveNs(m_c_root, c_ns);
  for (xmlNs* c_ns : m_Declarations) AppendNs(m_c_root, c_ns);
  m_Declarations.clear();
  for (const NewString& string : m_Strings) *string.slot = string.c_string;
  m_Strings.clear();

  ForEachNode(m_c_root, nullptr, [&](xmlNode* c_node) {
    c_node->doc = m_c_newDocument;
    if (IsElement(c_node)) {
      ReplaceNs(c_node->ns);
      if (m_c_parent != nullptr) c_node->psvi = nullptr;
    } else if (c_node->type == XML_ATTRIBUTE_NODE) {
      ReplaceNs(reinterpret_cast<xmlAttr*>(c_node)->ns);
      for (xmlNode* c_text = c_node->children; c_text != nullptr; c_text = c_text->next)
        c_text->doc = m_c_newDocument;
    }
    if (IXMLDOMNode* object = ObjectOf(c_node)) object->MoveTo(m_pNewFragment);
  });
  for (xmlNs* c_ns : m_Pruned) xmlFreeNs(c_ns);

  if (m_pNewFragment != m_pOldFragment) {
    if (m_pNewFragment != nullptr) m_pNewFragment->objects += m_Objects;
    static_cast<void>(m_Made.release());
    if (m_pOldFragment != nullptr) {
      if (m_pOldFragment->c_root == m_c_root) m_pOldFragment->c_root = nullptr;
      m_pOldFragment->objects -= m_Objects;
      if (m_pOldFragment->objects == 0) delete m_pOldFragment;
    }
  }
  // Last: the old document may end here.
  if (m_pNewDocument != m_pOldDocument) {
    for (std::size_t i = 0; i < m_Objects; ++i) m_pNewDocument->AddRef();
    for (std::size_t i = 0; i < m_Objects; ++i) m_pOldDocument->Release();
  }
}

}  // namespace cfgex::internal
