#include "platform/schema/schema_model.h"

#include <algorithm>
#include <unordered_set>

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

// A particle that may be there or not, and any number of times.
bool IsFree(const Particle& particle) { return particle.min == 0 && particle.max == kUnbounded; }

// What a free choice, or a free repetition of a single element, offers.
bool AddAlternatives(const Particle& particle, NameMap<const ISchemaElement*>& children) {
  if (particle.kind != ParticleKind::kElement || particle.max == 0) return false;
  const ISchemaElement* declaration = particle.element->declaration;
  if (declaration->is_abstract || !declaration->substitutes.empty()) return false;
  children.emplace(declaration->Key(), declaration);
  return true;
}

bool AddFreeParticle(const Particle& particle, NameMap<const ISchemaElement*>& children) {
  if (particle.kind == ParticleKind::kElement)
    return IsFree(particle) && AddAlternatives(particle, children);
  if (particle.kind != ParticleKind::kGroup) return false;
  const ModelGroup& group = *particle.group;
  if (IsFree(particle) && group.compositor == Compositor::kChoice) {
    return std::all_of(group.particles.begin(), group.particles.end(), [&](const Particle& inner) {
      return inner.min <= 1 && AddAlternatives(inner, children);
    });
  }
  // A group around one free particle adds nothing, however often it may occur.
  return group.particles.size() == 1 && particle.max > 0 &&
         AddFreeParticle(group.particles.front(), children);
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

std::vector<ISchemaElement*> ISchemaComplexType::Elements() const {
  std::vector<ISchemaElement*> result;
  for (const Particle* leaf : Leaves(Content()))
    if (leaf->kind == ParticleKind::kElement) result.push_back(leaf->element);
  return result;
}

std::vector<const Particle*> Leaves(std::vector<const Particle*> content) {
  std::vector<const Particle*> result;
  std::unordered_set<const ModelGroup*> seen;
  std::reverse(content.begin(), content.end());
  while (!content.empty()) {
    const Particle& particle = *content.back();
    content.pop_back();
    if (particle.kind != ParticleKind::kGroup) {
      result.push_back(&particle);
    } else if (seen.insert(particle.group).second) {
      const auto& inner = particle.group->particles;
      for (auto each = inner.rbegin(); each != inner.rend(); ++each) content.push_back(&*each);
    }
  }
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

ISchemaElement* SchemaModel::FindElement(const NameKey& key) const {
  return Lookup(global_elements, key);
}

ISchemaType* SchemaModel::FindType(const NameKey& key) const { return Lookup(global_types, key); }

Match SchemaModel::FindChild(const Match& parent, const ISchemaType* xsi_type,
                             const NameKey& key) const {
  if (parent.declaration == nullptr && !parent.lax) return {};
  const ISchemaType* type = xsi_type;
  if (type == nullptr && parent.declaration != nullptr) type = parent.declaration->type;
  if (type == nullptr) return {FindElement(key), true};
  if (type->complex == nullptr) return {};

  const ChildTable* table = type->complex->children;
  if (ISchemaElement* found = FindInTables(table, key)) return {found, false};

  // A member of a substitution group may be where the content model refers to a head of it.
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

std::optional<NameMap<const ISchemaElement*>> FreeChildren(const ISchemaType& type) {
  const ISchemaComplexType* complex = type.complex;
  if (complex == nullptr || complex->is_abstract || complex->is_mixed ||
      complex->has_simple_content)
    return std::nullopt;
  const std::vector<const Particle*> content = complex->Content();
  NameMap<const ISchemaElement*> children;
  if (content.size() != 1 || !AddFreeParticle(*content.front(), children) || children.empty())
    return std::nullopt;
  return children;
}

bool RequiresAttributes(const ISchemaType& type) {
  const std::vector<const AttributeUse*> attributes = type.complex->Attributes();
  return std::any_of(attributes.begin(), attributes.end(), [](const AttributeUse* attribute) {
    return attribute->use == AttributeUseKind::kRequired;
  });
}

}  // namespace cfgex::internal
