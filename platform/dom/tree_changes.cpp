#include "platform/dom/tree_changes.h"

#include <cassert>
#include <new>
#include <utility>

#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// Forgets the declarations found for the elements below `c_element`; its own stays.
void ForgetDeclarationsBelow(xmlNode* c_element) noexcept {
  for (xmlNode* c_node = NextInTree(c_element, c_element); c_node != nullptr;
       c_node = NextInTree(c_node, c_element))
    if (IsElement(c_node)) c_node->psvi = nullptr;
}

// What an attribute that came, or has another value, means for the element's declarations.
void ForgetDeclarationsBy(const xmlAttr* c_attr) noexcept {
  if (IsTypeAttribute(c_attr)) ForgetDeclarationsBelow(c_attr->parent);
}

constexpr int kSmallDocument = 100;  // nodes

}  // namespace

// Whether the invariants hold that a walk over a small document shows.
[[maybe_unused]] bool TreeChanges::IsRight(const xmlNode* c_changed) const noexcept {
  const auto* c_top = reinterpret_cast<const xmlNode*>(c_changed->doc);
  if (!IsInDocument(c_changed)) return true;
  int size = 0;
  for (const xmlNode* c_node = c_top->children; c_node != nullptr && size <= kSmallDocument;
       c_node = NextInTree(c_node, c_top))
    ++size;
  try {
    return size > kSmallDocument ||
           ((m_pIndex == nullptr || m_pIndex->IsRight()) && m_Members.IsRight(c_changed->doc));
  } catch (const std::bad_alloc&) {
    return true;  // as far as can be seen
  }
}

const KeyedIndex& TreeChanges::Index(const xmlDoc* c_document, const MemberNames& names) {
  if (m_pIndex == nullptr) m_pIndex = std::make_unique<KeyedIndex>(c_document, names);
  return *m_pIndex;
}

template <class Change>
void TreeChanges::TellIndex(const xmlNode* c_node, Change&& change) noexcept {
  if (m_pIndex == nullptr || !IsElement(c_node)) return;
  try {
    if (c_node->parent->type != XML_DOCUMENT_NODE) return change(*m_pIndex);
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): dropped as well
  }
  m_pIndex.reset();
}

// The scope of a change of what is below `c_parent`, which may be the text of a key.
class TreeChanges::ContentChange {
 public:
  ContentChange(TreeChanges& changes, xmlNode* c_parent) noexcept
      : m_Changes(changes),
        m_c_parent(c_parent),
        m_c_key(changes.m_pIndex != nullptr ? changes.m_pIndex->KeyAbove(c_parent) : nullptr) {
    ++changes.m_Count;
    if (m_c_key != nullptr)
      changes.TellIndex(m_c_key, [this](KeyedIndex& index) { index.EraseKey(m_c_key); });
  }
  ~ContentChange() {
    if (m_c_key != nullptr)
      m_Changes.TellIndex(m_c_key, [this](KeyedIndex& index) { index.InsertKey(m_c_key); });
    assert(m_Changes.IsRight(m_c_parent));
  }
  ContentChange(const ContentChange&) = delete;
  ContentChange& operator=(const ContentChange&) = delete;

 private:
  TreeChanges& m_Changes;
  [[maybe_unused]] const xmlNode* m_c_parent;
  xmlNode* m_c_key;
};

void TreeChanges::TakeOut(xmlNode* c_node) noexcept {
  TellIndex(c_node, [c_node](KeyedIndex& index) { index.Removing(c_node); });
  m_Members.Removing(c_node);
  xmlUnlinkNode(c_node);
}

void TreeChanges::PutIn(xmlNode* c_node, xmlNode* c_parent, xmlNode* c_before) noexcept {
  c_node->parent = c_parent;
  c_node->next = c_before;
  c_node->prev = c_before != nullptr ? c_before->prev : c_parent->last;
  (c_node->prev != nullptr ? c_node->prev->next : c_parent->children) = c_node;
  (c_before != nullptr ? c_before->prev : c_parent->last) = c_node;
  TellIndex(c_node, [c_node](KeyedIndex& index) { index.Added(c_node); });
  m_Members.Added(c_node);
}

void TreeChanges::Link(xmlNode* c_node, xmlNode* c_parent) noexcept {
  const ContentChange change(*this, c_parent);
  PutIn(c_node, c_parent, nullptr);
}

void TreeChanges::LinkAttribute(xmlAttr* c_attr, xmlNode* c_element) noexcept {
  AppendAttribute(c_element, c_attr);
  m_Members.Changed(c_element);
  ForgetDeclarationsBy(c_attr);
}

void TreeChanges::Unlink(xmlNode* c_node) noexcept {
  if (c_node->parent == nullptr) return;
  const ContentChange change(*this, c_node->parent);
  TakeOut(c_node);
}

void TreeChanges::Replace(xmlNode* c_old, xmlNode* c_new) noexcept {
  xmlNode* c_parent = c_old->parent;
  xmlNode* c_before = c_old->next;
  const ContentChange change(*this, c_parent);
  TakeOut(c_old);
  PutIn(c_new, c_parent, c_before);
}

void TreeChanges::PutText(xmlNode* c_element, xmlNode* c_text) noexcept {
  const ContentChange change(*this, c_element);
  while (c_element->children != nullptr) TakeOut(c_element->children);
  c_element->children = c_element->last = c_text;
  if (c_text != nullptr) c_text->parent = c_element;
  m_Members.Changed(c_element);
}

void TreeChanges::PutValue(xmlAttr* c_attr, xmlNode* c_text, xmlNs* c_ns) noexcept {
  xmlFreeNodeList(c_attr->children);
  c_text->parent = reinterpret_cast<xmlNode*>(c_attr);
  c_attr->children = c_attr->last = c_text;
  c_attr->ns = c_ns;
  m_Members.Changed(c_attr->parent);
  ForgetDeclarationsBy(c_attr);
}

void TreeChanges::Declare(xmlNode* c_element, xmlNs* c_ns) noexcept {
  ForgetDeclarationsBelow(c_element);
  AppendNs(c_element, c_ns);
  m_Members.Changed(c_element);
}

void TreeChanges::Redeclare(xmlNode* c_element, xmlNs* c_ns, xmlChar* c_uri) noexcept {
  ForgetDeclarationsBelow(c_element);
  xmlFree(const_cast<xmlChar*>(std::exchange(c_ns->href, c_uri)));
  m_Members.Changed(c_element);
}

void TreeChanges::Restart() noexcept {
  m_pIndex.reset();
  m_Members.Clear();
  ++m_Count;
}

}  // namespace cfgex::internal
