// Content models and elements.
#include <algorithm>
#include <charconv>

#include "platform/os/encoding.h"
#include "platform/schema/schema_reader_parts.h"

namespace cfgex::internal {
namespace {

// A whole number without a sign and without zeros before it; what is no number counts as `absent`.
std::string CanonicalCount(std::string text, const char* absent) {
  if (!text.empty() && text.front() == '+') text.erase(0, 1);
  if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) return absent;
  text.erase(0, std::min(text.find_first_not_of('0'), text.size() - 1));
  return text;
}

std::uint64_t Count(const std::string& canonical) {
  std::uint64_t count = 0;
  const auto result = std::from_chars(canonical.data(), canonical.data() + canonical.size(), count);
  return result.ec == std::errc() ? count : kUnbounded;
}

Compositor CompositorOf(const xmlNode* c_node) {
  if (IsXsdElement(c_node, "choice")) return Compositor::kChoice;
  return IsXsdElement(c_node, "all") ? Compositor::kAll : Compositor::kSequence;
}

bool IsCompositor(const xmlNode* c_node) {
  return IsXsdElement(c_node, "sequence") || IsXsdElement(c_node, "choice") ||
         IsXsdElement(c_node, "all");
}

}  // namespace

const Particle* SchemaReader::ReadContent(const xmlNode* c_parent, const ReadingScope& scope) {
  for (const xmlNode* c_child = c_parent->children; c_child != nullptr; c_child = c_child->next) {
    if (!IsCompositor(c_child) && !IsXsdElement(c_child, "group")) continue;
    Particle& particle = m_Model.contents.emplace_back();
    return ReadParticle(particle, c_child, scope) ? &particle : nullptr;
  }
  return nullptr;
}

// False for what is no particle, leads nowhere, or may not occur at all.
bool SchemaReader::ReadParticle(Particle& particle, const xmlNode* c_node,
                                const ReadingScope& scope) {
  const std::string min = CanonicalCount(TokenAttribute(c_node, "minOccurs"), "1");
  const std::string max = TokenAttribute(c_node, "maxOccurs");
  particle.min = Count(min);
  particle.max = max == "unbounded" ? kUnbounded : Count(CanonicalCount(max, "1"));
  if (particle.max == 0) return false;
  if (IsXsdElement(c_node, "element")) return ReadElementParticle(particle, c_node, scope, min);
  if (IsXsdElement(c_node, "any")) {
    particle.kind = ParticleKind::kWildcard;
    particle.wildcard = ReadWildcard(c_node, scope);
    return true;
  }
  particle.kind = ParticleKind::kGroup;
  if (IsXsdElement(c_node, "group")) {
    particle.group = Find(scope, m_Groups, c_node, TokenAttribute(c_node, "ref"));
  } else if (IsCompositor(c_node)) {
    particle.group = &m_Model.groups.emplace_back();
    FillGroup(*particle.group, c_node, scope);
  }
  return particle.group != nullptr;
}

bool SchemaReader::ReadElementParticle(Particle& particle, const xmlNode* c_node,
                                       const ReadingScope& scope, const std::string& min) {
  const std::string ref = TokenAttribute(c_node, "ref");
  ISchemaElement* global = Find(scope, m_Model.global_elements, c_node, ref);
  if (!ref.empty() && global == nullptr) return false;
  ISchemaElement& element = m_Model.elements.emplace_back(m_Model);
  particle.kind = ParticleKind::kElement;
  particle.element = &element;
  element.min_occurs = FromUtf8(min);
  if (global != nullptr) {
    element.declaration = global;  // which may not be complete yet
    return true;
  }
  const std::string form = TokenAttribute(c_node, "form");
  if (form.empty() ? scope.context->qualified_elements : form == "qualified")
    element.ns = scope.context->target->uri;
  element.local_name = TokenAttribute(c_node, "name");
  element.name = FromUtf8(element.local_name);
  element.schema = scope.context->target;
  FillElement(element, c_node, scope);
  return true;
}

void SchemaReader::FillGroup(ModelGroup& group, const xmlNode* c_node, const ReadingScope& scope) {
  group.compositor = CompositorOf(c_node);
  for (const xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next) {
    Particle particle;
    if (IsXsdElement(c_child) && ReadParticle(particle, c_child, scope))
      group.particles.push_back(particle);
  }
}

void SchemaReader::FillNamedGroup(ModelGroup& group, const xmlNode* c_node,
                                  const ReadingScope& scope) {
  for (const xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
    if (IsCompositor(c_child)) return FillGroup(group, c_child, scope);
}

const Wildcard* SchemaReader::ReadWildcard(const xmlNode* c_node, const ReadingScope& scope) {
  Wildcard& wildcard = m_Model.wildcards.emplace_back();
  const std::string process = TokenAttribute(c_node, "processContents");
  if (process == "lax") wildcard.process = ProcessContents::kLax;
  if (process == "skip") wildcard.process = ProcessContents::kSkip;

  const std::string& target = scope.context->target->uri;
  const std::string allowed = TokenAttribute(c_node, "namespace");
  if (allowed.empty() || allowed == "##any") return &wildcard;
  if (allowed == "##other") {
    wildcard.constraint = Wildcard::kNot;
    wildcard.namespaces.push_back(target);
    return &wildcard;
  }
  wildcard.constraint = Wildcard::kOneOf;
  for (const std::string_view ns : Words(allowed))
    wildcard.namespaces.emplace_back(ns == "##targetNamespace" ? target
                                     : ns == "##local"         ? std::string_view()
                                                               : ns);
  return &wildcard;
}

void SchemaReader::FillElement(ISchemaElement& element, const xmlNode* c_node,
                               const ReadingScope& definition) {
  const ReadingScope scope{definition.context};
  element.is_abstract = BooleanAttribute(c_node, "abstract");
  element.default_value = FromUtf8(RawAttribute(c_node, "default"));
  element.fixed_value = FromUtf8(RawAttribute(c_node, "fixed"));
  const std::string head = TokenAttribute(c_node, "substitutionGroup");
  element.substitution_head = Find(scope, m_Model.global_elements, c_node, head);

  const std::string type = TokenAttribute(c_node, "type");
  if (!type.empty()) {
    element.type = TypeByName(scope, c_node, type);
  } else if (SimpleType* simple = InlineSimpleType(scope, c_node)) {
    element.type = simple;
  } else if (const xmlNode* c_complex = XsdChild(c_node, "complexType")) {
    ISchemaComplexType& complex = m_Model.complex_types.emplace_back(m_Model);
    complex.schema = scope.context->target;
    FillComplexType(complex, c_complex, scope);
    element.type = &complex;
  }
}

}  // namespace cfgex::internal
