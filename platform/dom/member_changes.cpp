// Invariants:
//   1. m_Text knows of every member that has changed, come or gone.
//   2. m_IsFrameValid means: the schema is separable for the document, and the document is valid
//      exactly if each in m_Pending is. Everything in m_Pending is a member of the document, or a
//      group that is plain: only of such a one its name tells whether it is valid.
//   3. So a document that was found invalid is either not in state 2, and is validated as a whole
//      next time, or keeps the members at fault in m_Pending.
//
// A document is separable when no rule ties its parts together, the root may hold any number of
// groups in any order, and every group likewise holds members. Then the order, number and company
// of members cannot make it invalid. Members are declared globally, so that each of them can be
// validated by itself.
#include "platform/dom/member_changes.h"

#include <algorithm>
#include <cassert>
#include <new>
#include <optional>
#include <vector>

#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// Where in its document a node is.
struct Levels {
  xmlNode* c_root = nullptr;
  xmlNode* c_group = nullptr;   // null for the root
  xmlNode* c_member = nullptr;  // null for the frame; may be no element
};

Levels LevelsOf(const xmlNode* c_node) noexcept {
  Levels levels;
  for (auto* c_at = const_cast<xmlNode*>(c_node); c_at != nullptr; c_at = c_at->parent) {
    if (c_at->type == XML_DOCUMENT_NODE) return levels;
    levels = {c_at, levels.c_root, levels.c_group};
  }
  return {};
}

// A group that adds nothing to its document but its members.
bool IsPlainGroup(const xmlNode* c_group) noexcept {
  if (c_group->properties != nullptr) return false;
  for (const xmlNode* c_child = c_group->children; c_child != nullptr; c_child = c_child->next)
    if (IsTextNode(c_child) && xmlIsBlankNode(c_child) == 0) return false;
  return true;
}

bool HasInstanceAttributes(const xmlNode* c_element) noexcept {
  for (const xmlAttr* c_attr = c_element->properties; c_attr != nullptr; c_attr = c_attr->next) {
    const std::string_view name = Chars(c_attr->name);
    if (Uri(c_attr->ns) == kSchemaInstanceNamespace && (name == "type" || name == "nil"))
      return true;
  }
  return false;
}

// The elements that may be groups under the root of the document, each with its possible members.
// Nothing if the document is not separable.
struct Group {
  NameKey name;
  NameMap<const ISchemaElement*> members;
};
std::optional<std::vector<Group>> GroupsOf(const xmlDoc* c_document, const SchemaCache& schemas) {
  const xmlNode* c_root = xmlDocGetRootElement(c_document);
  if (schemas.TiesPartsTogether() || c_root == nullptr || HasInstanceAttributes(c_root))
    return std::nullopt;
  const ISchemaElement* declaration = schemas.Model()->FindElement(KeyOf(c_root));
  if (declaration == nullptr) return std::nullopt;
  const auto groups = FreeChildren(*declaration->type);
  if (!groups) return std::nullopt;
  std::vector<Group> result;
  for (const auto& [name, group] : *groups) {
    auto members = FreeChildren(*group->type);
    if (!members || RequiresAttributes(*group->type)) return std::nullopt;
    for (const auto& [member, declared] : *members)
      if (schemas.Model()->FindElement(member) != declared) return std::nullopt;
    result.push_back({name, std::move(*members)});
  }
  return result;
}

bool IsSeparable(const xmlDoc* c_document, const SchemaCache& schemas) {
  if (!GroupsOf(c_document, schemas)) return false;
  const xmlNode* c_root = xmlDocGetRootElement(c_document);
  for (const xmlNode* c_group = c_root->children; c_group != nullptr; c_group = c_group->next)
    if (IsElement(c_group) && HasInstanceAttributes(c_group)) return false;
  return true;
}

}  // namespace

// --- Changes

void MemberChanges::Removing(const xmlNode* c_node) noexcept {
  const Levels levels = LevelsOf(c_node);
  if (levels.c_root == nullptr) return;
  if (levels.c_member != nullptr && levels.c_member != c_node) {
    MarkChanged(levels.c_member);
    return;
  }
  if (levels.c_group == nullptr || !IsElement(c_node)) {
    Clear();
    return;
  }
  m_Text.Removing(c_node);
  m_Pending.erase(const_cast<xmlNode*>(c_node));
  if (levels.c_group != c_node) return;
  for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
    m_Pending.erase(c_child);
}

void MemberChanges::Added(xmlNode* c_node) noexcept {
  const Levels levels = LevelsOf(c_node);
  if (levels.c_root == nullptr) return;
  if (levels.c_member != nullptr && levels.c_member != c_node) {
    MarkChanged(levels.c_member);
    return;
  }
  if (levels.c_group == nullptr || !IsElement(c_node)) {
    Clear();
    return;
  }
  m_Text.Added(c_node);
  if (levels.c_group == c_node && !IsPlainGroup(c_node)) {
    ForgetValidity();
    return;
  }
  MarkPending(c_node);
  if (levels.c_group != c_node) return;
  for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
    if (IsElement(c_child)) MarkPending(c_child);
}

void MemberChanges::Changed(xmlNode* c_element) noexcept {
  const Levels levels = LevelsOf(c_element);
  if (levels.c_root == nullptr) return;
  if (levels.c_member == nullptr) {
    Clear();
  } else {
    MarkChanged(levels.c_member);
  }
}

void MemberChanges::Clear() noexcept {
  ForgetValidity();
  m_Text.Clear();
}

void MemberChanges::ForgetValidity() noexcept {
  m_IsFrameValid = false;
  m_Pending.clear();
}

void MemberChanges::MarkChanged(xmlNode* c_member) noexcept {
  m_Text.Changed(c_member);
  MarkPending(c_member);
}

void MemberChanges::MarkPending(xmlNode* c_element) noexcept {
  if (!m_IsFrameValid) return;
  try {
    m_Pending.insert(c_element);
  } catch (const std::bad_alloc&) {
    Clear();
  }
}

bool MemberChanges::IsRight(const xmlDoc* c_document) const {
  std::size_t pending = 0;
  std::size_t items = 0;
  const auto count = [&](const xmlNode* c_node) {
    pending += m_Pending.count(const_cast<xmlNode*>(c_node));
    items += m_Text.HasItem(c_node) ? 1 : 0;
  };
  const xmlNode* c_root = xmlDocGetRootElement(c_document);
  if (c_root != nullptr) {
    count(c_root);
    for (const xmlNode* c_group = c_root->children; c_group != nullptr; c_group = c_group->next) {
      count(c_group);
      if (!IsElement(c_group)) continue;
      for (const xmlNode* c_node = c_group->children; c_node != nullptr; c_node = c_node->next)
        count(c_node);
    }
  }
  return pending == m_Pending.size() && items == m_Text.ItemCount();
}

// --- Validating

ValidationOutcome MemberChanges::Validate(xmlDoc* c_document, const SchemaCache& schemas) {
  const bool separately = m_IsFrameValid;
  if (separately && AreChangesValid(c_document, schemas)) {
    assert(schemas.Validate(c_document).code == 0);
    return {};
  }
  // A fault in what changed is told as the first fault of the whole.
  ValidationOutcome outcome = schemas.Validate(c_document);
  assert(!separately || outcome.code != 0);
  if (outcome.code == 0) {
    m_Pending.clear();
    m_IsFrameValid = IsSeparable(c_document, schemas);
  }
  return outcome;
}

bool MemberChanges::AreChangesValid(const xmlDoc* c_document, const SchemaCache& schemas) {
  if (m_Pending.empty()) return true;
  const auto groups = GroupsOf(c_document, schemas);
  if (!groups) return false;
  const auto groupOf = [&groups](const xmlNode* c_element) {
    const NameKey name = KeyOf(c_element);
    return std::find_if(groups->begin(), groups->end(),
                        [&name](const Group& group) { return group.name == name; });
  };
  const xmlNode* c_root = xmlDocGetRootElement(c_document);
  std::erase_if(m_Pending, [&](xmlNode* c_element) {
    if (c_element->parent == c_root) return groupOf(c_element) != groups->end();
    const auto group = groupOf(c_element->parent);
    return group != groups->end() && group->members.contains(KeyOf(c_element)) &&
           schemas.IsValidByItself(c_element);
  });
  return m_Pending.empty();
}

}  // namespace cfgex::internal
