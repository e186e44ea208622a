#include "platform/schema/schema_model.h"

#include <algorithm>
#include <unordered_set>

#include "platform/schema/schema_builtins.h"

namespace cfgex::internal {
namespace {

template <class V>
V* Lookup(const NameMap<V*>& map, const NameKey& key) {
  const auto found = map.find(key);
  return found == map.end() ? nullptr : found->second;
}

// The attributes that a type writes itself, groups resolved.
std::vector<const AttributeUse*> OwnAttributes(const AttributeGroup& own) {
  std::vector<const AttributeUse*> result;
  std::unordered_set<const AttributeGroup*> seen{&own};
  std::vector<const AttributeGroup*> open{&own};
  while (!open.empty()) {
    const AttributeGroup* group = open.back();
    open.pop_back();
    for (const AttributeUse& use : group->attributes) result.push_back(&use);
    for (const AttributeGroup* inner : group->groups)
      if (seen.insert(inner).second) open.push_back(inner);
  }
  return result;
}

ISchemaElement* FindInTables(const ChildTable* table, const NameKey& key) {
  for (; table != nullptr; table = table->inherited)
    if (ISchemaElement* found = Lookup(table->elements, key)) return found;
  return nullptr;
}

}  // namespace

void ISchemaItemCollection::Add(ISchemaItem& item) {
  m_Items.push_back(&item);
  m_ByName.emplace(item.name, &item);
}

ComPtr<ISchemaItem> ISchemaItemCollection::get_item(long index) const {
  if (index < 0 || index >= get_length()) return nullptr;
  return ComPtr<ISchemaItem>(m_Items[static_cast<std::size_t>(index)]);
}

ComPtr<ISchemaItem> ISchemaItemCollection::itemByName(std::wstring_view name) const {
  const auto found = m_ByName.find(name);
  return found == m_ByName.end() ? nullptr : ComPtr<ISchemaItem>(found->second);
}

bool Wildcard::Allows(std::string_view uri) const {
  switch (constraint) {
    case kAny:
      return true;
    case kNot:
      return !uri.empty() && uri != namespaces.front();
    case kOneOf:
      return std::find(namespaces.begin(), namespaces.end(), uri) != namespaces.end();
  }
  return false;
}

bool SimpleType::CollapsesBlanks() const {
  // A list collapses, and so does the value of a union but for the member that it belongs to.
  std::vector<const SimpleType*> open{this};
  std::unordered_set<const SimpleType*> seen;
  while (!open.empty()) {
    const SimpleType* at = open.back();
    open.pop_back();
    if (!seen.insert(at).second || at->blanks == Blanks::kCollapse || at->variety == Variety::kList)
      continue;
    if (at->blanks != Blanks::kInherited || at->base == nullptr) return false;
    if (at->variety == Variety::kUnion) {
      open.insert(open.end(), at->members.begin(), at->members.end());
    } else if (at->base->simple != nullptr) {
      open.push_back(at->base->simple);
    } else {
      return false;
    }
  }
  return true;
}

void ISchemaElement::Use(ISchemaElement& global) {
  ns = global.ns;
  local_name = global.local_name;
  name = global.name;
  schema = global.schema;
  default_value = global.default_value;
  fixed_value = global.fixed_value;
  is_abstract = global.is_abstract;
  type = global.type;
  declaration = &global;
  substitution_head = global.substitution_head;
}

std::vector<const ISchemaElement*> ISchemaElement::AllSubstitutes() const {
  std::vector<const ISchemaElement*> result(declaration->substitutes.begin(),
                                            declaration->substitutes.end());
  for (std::size_t i = 0; i < result.size(); ++i) {
    const auto& more = result[i]->substitutes;  // no group is circular, so this ends
    result.insert(result.end(), more.begin(), more.end());
  }
  return result;
}

std::vector<const Particle*> ISchemaComplexType::Content() const {
  std::vector<const Particle*> result;
  for (const ISchemaComplexType* at = this; at != nullptr; at = at->base->complex) {
    if (at->particle != nullptr) result.push_back(at->particle);
    if (at->derivation == Derivation::kRestriction) break;
  }
  std::reverse(result.begin(), result.end());
  return result;
}

std::vector<const AttributeUse*> ISchemaComplexType::Attributes() const {
  std::vector<const ISchemaComplexType*> chain;
  for (const ISchemaType* at = this; at != nullptr && at->complex != nullptr; at = at->base)
    chain.push_back(at->complex);
  std::vector<const AttributeUse*> result;
  NameMap<std::size_t> places;
  for (auto level = chain.rbegin(); level != chain.rend(); ++level) {
    for (const AttributeUse* use : OwnAttributes((*level)->attributes)) {
      const auto [place, added] = places.emplace(NameKey{use->ns, use->local_name}, result.size());
      if (added)
        result.push_back(use);
      else
        result[place->second] = use;
    }
  }
  std::erase_if(result,
                [](const AttributeUse* use) { return use->use == AttributeUseKind::kProhibited; });
  return result;
}

SchemaModel::SchemaModel(IUnknown& owner_) : owner(owner_) { AddBuiltins(*this); }

ISchemaElement* SchemaModel::FindElement(const NameKey& key) const {
  return Lookup(global_elements, key);
}

ISchemaType* SchemaModel::FindType(const NameKey& key) const { return Lookup(global_types, key); }

Match SchemaModel::FindChild(const ChildScope& scope, const NameKey& key) const {
  if (scope.kind == ChildScope::kNothing) return {};
  if (scope.kind == ChildScope::kLax) return {FindElement(key), true};

  const ChildTable* table = scope.type->children;
  if (ISchemaElement* found = FindInTables(table, key)) return {found, false};

  // A member of a substitution group stands where the content model refers to a head of it.
  ISchemaElement* global = FindElement(key);
  for (const ISchemaElement* head = global; head != nullptr; head = head->substitution_head) {
    const ISchemaElement* use = FindInTables(table, head->Key());
    if (use != nullptr && use->declaration == head) return {global, false};
  }

  for (; table != nullptr; table = table->inherited) {
    for (const Wildcard* wildcard : table->wildcards) {
      if (!wildcard->Allows(key.ns)) continue;
      if (wildcard->process == ProcessContents::kSkip) return {};
      return {global, wildcard->process == ProcessContents::kLax};
    }
  }
  return {};
}

ChildScope SchemaModel::ScopeBelow(const Match& match, const ISchemaType* xsi_type) const {
  if (match.declaration == nullptr && !match.lax) return {};
  const ISchemaType* type = xsi_type;
  if (type == nullptr && match.declaration != nullptr) type = match.declaration->type;
  if (type == nullptr) return {ChildScope::kLax, nullptr};
  if (type->complex == nullptr) return {};
  return {ChildScope::kType, type->complex};
}

}  // namespace cfgex::internal
