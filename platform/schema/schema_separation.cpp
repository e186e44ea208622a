#include "platform/schema/schema_separation.h"

#include <algorithm>
#include <array>

#include "platform/tree/namespaces.h"
#include "platform/tree/tree_walk.h"

namespace cfgex::internal {
namespace {

// Whether one of the names in a list of type names is that of a type whose values mean something
// beyond their place. Prefixes are not looked at: a type of the schema's own with such a name makes
// the answer too careful, never wrong.
bool NamesTyingType(std::string_view names) {
  static constexpr std::array<std::string_view, 6> kTying = {"ID",     "IDREF",    "IDREFS",
                                                             "ENTITY", "ENTITIES", "NOTATION"};
  const std::vector<std::string_view> words = Words(names);
  return std::any_of(words.begin(), words.end(), [](std::string_view name) {
    const std::string_view local = name.substr(name.find(':') + 1);
    return std::find(kTying.begin(), kTying.end(), local) != kTying.end();
  });
}

bool TiesPartsTogether(const xmlNode* c_element) {
  for (const char* constraint : {"key", "keyref", "unique"})
    if (IsXsdElement(c_element, constraint)) return true;
  for (const char* attribute : {"type", "base", "itemType", "memberTypes"})
    if (NamesTyingType(RawAttribute(c_element, attribute))) return true;
  return false;
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

bool TiesPartsTogether(const SchemaDocuments& documents) {
  return std::any_of(documents.All().begin(), documents.All().end(), [](const auto& document) {
    const xmlNode* c_root = document.Root();
    for (const xmlNode* c_node = c_root; c_node != nullptr; c_node = NextInTree(c_node, c_root))
      if (c_node->type == XML_ELEMENT_NODE && TiesPartsTogether(c_node)) return true;
    return false;
  });
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
