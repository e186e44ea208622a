#include "platform/dom/instance_generator.h"

#include <algorithm>
#include <unordered_set>

#include "platform/os/encoding.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// A member of a substitution group in the place of its head: how often it occurs is the place's.
class MemberInPlace final : public Counted<IUnknown> {
 public:
  MemberInPlace(ISchemaElement& member, const ISchemaElement& place) : m_Member(&member) {
    element.Use(member);
    element.min_occurs = place.min_occurs;
  }
  ISchemaElement element{*this};

 private:
  ComPtr<ISchemaElement> m_Member;  // keeps the model
};

class ElementInfo final : public CSchemaElementInfo {
 public:
  ElementInfo(const ComPtr<ISchemaElement>& declaration, const ComPtr<IXMLDOMElement>& node)
      : m_Declaration(declaration), m_Node(node) {}

  ComPtr<ISchemaElement> GetDeclaration() override { return m_Declaration; }
  ComPtr<IXMLDOMNode> GetNode() override { return m_Node; }
  void SetOmitted(bool omitted) override { m_IsOmitted = omitted; }
  bool IsOmitted() const { return m_IsOmitted; }

 private:
  ComPtr<ISchemaElement> m_Declaration;
  ComPtr<IXMLDOMElement> m_Node;
  bool m_IsOmitted = false;
};

// An optional element is offered to the callback once.
std::uint64_t Copies(const Particle& particle) {
  switch (particle.kind) {
    case ParticleKind::kElement:
      return std::max<std::uint64_t>(particle.min, 1);
    case ParticleKind::kGroup:
      return particle.min;
    case ParticleKind::kWildcard:
      break;
  }
  return 0;
}

bool TakesText(const ISchemaType& type) {
  return type.complex == nullptr || type.complex->has_simple_content || type.complex->is_mixed;
}

bool DerivesFrom(const ISchemaType& type, const ISchemaType& ancestor) {
  const ISchemaType* at = &type;
  while (at != nullptr && at != &ancestor) at = at->base;
  return at != nullptr;
}

// The value that a declaration gives, as a document holds it: the engine takes no blanks around the
// values of most types that collapse them.
std::wstring ValueOf(const std::wstring& fixed, const std::wstring& otherwise,
                     const SimpleType* type) {
  const std::wstring& value = fixed.empty() ? otherwise : fixed;
  if (type == nullptr || !type->collapses_blanks) return value;
  std::wstring result;
  bool is_after_blank = false;
  for (const wchar_t c : value) {
    const bool is_blank = c == L' ' || c == L'\t' || c == L'\n' || c == L'\r';
    if (!is_blank && is_after_blank && !result.empty()) result += L' ';
    if (!is_blank) result += c;
    is_after_blank = is_blank;
  }
  return result;
}

// The type of the text of an element; null where the text has none, or there is no text.
const SimpleType* TextType(const ISchemaType& type) {
  for (const ISchemaType* at = &type; at != nullptr; at = at->base) {
    if (at->simple != nullptr) return at->simple;
    if (!at->complex->has_simple_content) return nullptr;
    if (at->complex->simple_content != nullptr) return at->complex->simple_content;
  }
  return nullptr;
}

// "prefix:" for a name in a namespace, which is declared on the element if it is not yet; nothing
// for a name in none.
std::wstring PrefixFor(IXMLDOMElement& element, const std::string& uri) {
  if (uri.empty()) return {};
  if (uri == Chars(XML_XML_NAMESPACE)) return L"xml:";
  const xmlNode* c_element = element.EngineNode();
  if (const xmlNs* c_known = FindNsByUri(c_element, uri)) return FromUtf8(Prefix(c_known)) + L":";
  std::wstring prefix = L"xsi";
  if (uri != kSchemaInstanceNamespace) {
    int number = 1;
    do prefix = L"ns" + std::to_wstring(number++);
    while (OwnNs(c_element, ToUtf8(prefix)) != nullptr);
  }
  element.setAttribute(L"xmlns:" + prefix, FromUtf8(uri));
  return prefix + L":";
}

// Puts a new element into its namespace: the default one, or with `prefixed` one with a prefix, the
// default one then being none.
void SetNamespace(IXMLDOMElement& element, const std::string& uri, bool prefixed) {
  xmlNode* c_element = element.EngineNode();
  xmlNs* c_ns = NewNs(prefixed ? "ns" : "", uri);
  AppendNs(c_element, c_ns);
  c_element->ns = c_ns;
  if (prefixed) AppendNs(c_element, NewNs("", ""));
}

}  // namespace

ComPtr<IXMLDOMElement> InstanceGenerator::Generate(const InstanceRoot& root) {
  // An element that is asked for by its name is not replaced by a member of its substitution group.
  const bool is_abstract = root.element != nullptr
                               ? root.element->is_abstract
                               : root.type->complex && root.type->complex->is_abstract;
  if (is_abstract) return nullptr;
  const ISchemaType* type = root.type;
  if (root.element != nullptr) {
    CanBeMade(*root.element->declaration);
    type = ConcreteType(*root.element->type);
  }
  if (type == nullptr) return nullptr;

  m_Callback.OnStart();
  const NameKey name = root.element != nullptr ? root.element->Key() : type->Key();
  const ComPtr<IXMLDOMElement> node = NewNode(name, root.element, *type);
  IsOmitted(ComPtr<ISchemaElement>(root.element), node);
  bool is_finite = OpenContent(node, root.element, *type, true);
  while (is_finite && !m_Levels.empty()) is_finite = Step();
  m_Callback.OnEnd();
  return is_finite ? node : nullptr;
}

// Goes on at the innermost level. False when there is no finite form.
bool InstanceGenerator::Step() {
  Level& level = m_Levels.back();
  if (level.at == level.particles.size()) {
    if (level.is_content) --m_Depth;
    m_Levels.pop_back();
    return true;
  }
  const Particle& particle = *level.particles[level.at];
  const std::uint64_t copies = Copies(particle);
  if (level.made == copies) {
    ++level.at;
    level.made = 0;
    return true;
  }
  if (copies - level.made > m_Left) return false;
  ++level.made;
  --m_Left;
  const ComPtr<IXMLDOMElement> parent = level.node;  // the level moves when another is opened
  if (particle.kind == ParticleKind::kElement) return AddElement(particle, parent);
  OpenGroup(*particle.group, parent);
  return true;
}

bool InstanceGenerator::AddElement(const Particle& particle, const ComPtr<IXMLDOMElement>& parent) {
  ISchemaElement& place = *particle.element;
  const bool is_required = particle.min > 0;
  ISchemaElement* element = ConcreteElement(place);
  const ISchemaType* type = element == nullptr ? nullptr : ConcreteType(*element->type);
  if (type == nullptr) return !is_required;

  ComPtr<ISchemaElement> declaration(element);
  if (element != &place)
    declaration = ComPtr<ISchemaElement>(&MakeCounted<MemberInPlace>(*element, place)->element);
  const ComPtr<IXMLDOMElement> node = NewNode(element->Key(), element, *type);
  if (m_Depth < kMaxDepth) parent->appendChild(node);  // too deep, it can only be left out
  if (IsOmitted(declaration, node)) {
    if (const auto holder = node->get_parentNode()) holder->removeChild(node);
    return true;
  }
  return OpenContent(node, element->declaration, *type, is_required);
}

void InstanceGenerator::OpenGroup(const ModelGroup& group, const ComPtr<IXMLDOMElement>& parent) {
  Level level{.node = parent};
  if (group.compositor == Compositor::kChoice) {
    if (const Particle* particle = Alternative(group)) level.particles.push_back(particle);
  } else {
    for (const Particle& particle : group.particles) level.particles.push_back(&particle);
  }
  m_Levels.push_back(std::move(level));
}

bool InstanceGenerator::OpenContent(const ComPtr<IXMLDOMElement>& node,
                                    const ISchemaElement* declaration, const ISchemaType& type,
                                    bool is_required) {
  if (is_required && declaration != nullptr && IsRequiredByItself(*declaration)) return false;
  if (++m_Depth > kMaxDepth) return false;
  Level level{
      .node = node, .is_content = true, .declaration = declaration, .is_required = is_required};
  if (type.complex != nullptr) level.particles = type.complex->Content();
  m_Levels.push_back(std::move(level));
  return true;
}

bool InstanceGenerator::IsRequiredByItself(const ISchemaElement& declaration) const {
  for (auto level = m_Levels.rbegin(); level != m_Levels.rend(); ++level) {
    if (!level->is_content) continue;
    if (level->declaration == &declaration) return true;
    if (!level->is_required) return false;
  }
  return false;
}

ComPtr<IXMLDOMElement> InstanceGenerator::NewNode(const NameKey& name,
                                                  const ISchemaElement* declaration,
                                                  const ISchemaType& type) {
  ComPtr<IXMLDOMElement> node = m_Document.createElement(FromUtf8(name.name));
  const bool names_type = declaration != nullptr && declaration->type != &type;
  // A type without a namespace can be named only where there is no default one.
  const bool prefixed = names_type && type.ns.empty();
  if (!name.ns.empty()) SetNamespace(*node, std::string(name.ns), prefixed);
  if (names_type) {
    const std::wstring xsi = PrefixFor(*node, kSchemaInstanceNamespace);
    node->setAttribute(xsi + L"type", PrefixFor(*node, type.ns) + type.name);
  }
  if (type.complex != nullptr) {
    for (const AttributeUse* use : type.complex->Attributes()) {
      if (use->use == AttributeUseKind::kRequired)
        node->setAttribute(PrefixFor(*node, use->ns) + use->name,
                           ValueOf(use->fixed_value, use->default_value, use->type));
    }
  }
  if (declaration != nullptr && TakesText(type)) {
    const std::wstring text =
        ValueOf(declaration->fixed_value, declaration->default_value, TextType(type));
    if (!text.empty()) node->put_text(text);
  }
  return node;
}

bool InstanceGenerator::IsOmitted(const ComPtr<ISchemaElement>& declaration,
                                  const ComPtr<IXMLDOMElement>& node) {
  ElementInfo info(declaration, node);
  m_Callback.OnElement(info);
  return info.IsOmitted();
}

// What was taken stays taken, so that the search is not made for each copy.
ISchemaElement* InstanceGenerator::ConcreteElement(ISchemaElement& place) {
  ISchemaElement* pick = FindElement(place).pick;
  m_Members.try_emplace(place.declaration, pick == &place ? place.declaration : pick);
  return pick;
}

ISchemaType* InstanceGenerator::ConcreteType(ISchemaType& declared) {
  ISchemaType* pick = FindType(declared).pick;
  if (pick != &declared) m_Derived.try_emplace(&declared, pick);
  return pick;
}

const Particle* InstanceGenerator::Alternative(const ModelGroup& choice) {
  const Particle* pick = FindAlternative(choice).pick;
  m_Alternatives.try_emplace(&choice, pick);
  return pick;
}

InstanceGenerator::Found<ISchemaElement> InstanceGenerator::FindElement(ISchemaElement& place) {
  ISchemaElement* head = place.declaration;
  const auto result = [&](ISchemaElement* pick, bool can_be_made) {
    return Found<ISchemaElement>{pick == head ? &place : pick, can_be_made};
  };
  if (const auto found = m_Members.find(head); found != m_Members.end())
    return result(found->second, found->second != nullptr);
  // What can be made may have settled the place on the way, where it comes back to it.
  const auto settled = [&](ISchemaElement* pick) {
    return result(m_Members.try_emplace(head, pick).first->second, true);
  };
  ISchemaElement* first = head->is_abstract ? nullptr : head;
  if (first != nullptr && CanBeMade(*first)) return settled(first);
  const auto all = head->AllSubstitutes();
  const std::unordered_set<const ISchemaElement*> members(all.begin(), all.end());
  if (members.empty()) return result(first, false);
  for (ISchemaElement& element : m_Model.elements) {
    if (element.is_abstract || !members.contains(&element)) continue;
    if (first == nullptr) first = &element;
    if (CanBeMade(element)) return settled(&element);
  }
  return result(first, false);
}

InstanceGenerator::Found<ISchemaType> InstanceGenerator::FindType(ISchemaType& declared) {
  if (declared.complex == nullptr) return {&declared, true};
  if (!declared.complex->is_abstract) return {&declared, CanBeMade(*declared.complex)};
  if (const auto found = m_Derived.find(&declared); found != m_Derived.end())
    return {found->second, found->second != nullptr};
  ISchemaType* first = nullptr;
  for (ISchemaComplexType& type : m_Model.complex_types) {
    if (type.is_abstract || m_Model.FindType(type.Key()) != &type || !DerivesFrom(type, declared))
      continue;
    if (first == nullptr) first = &type;
    if (CanBeMade(type)) return {m_Derived.try_emplace(&declared, &type).first->second, true};
  }
  return {first, false};
}

InstanceGenerator::Found<const Particle> InstanceGenerator::FindAlternative(
    const ModelGroup& choice) {
  if (choice.particles.empty()) return {};
  if (const auto found = m_Alternatives.find(&choice); found != m_Alternatives.end())
    return {found->second, true};
  for (const Particle& particle : choice.particles)
    if (CanBeMade(particle))
      return {m_Alternatives.try_emplace(&choice, &particle).first->second, true};
  return {&choice.particles.front(), false};
}

bool InstanceGenerator::CanBeMade(const ISchemaElement& declaration) {
  if (m_CanBeMade.contains(&declaration)) return true;
  if (!m_Searching.insert(&declaration).second) return false;
  const bool result = FindType(*declaration.type).can_be_made;
  m_Searching.erase(&declaration);
  if (result) m_CanBeMade.insert(&declaration);
  return result;
}

bool InstanceGenerator::CanBeMade(const ISchemaComplexType& type) {
  bool result = true;  // all parts are looked at, so that the ways are settled from the root on
  for (const Particle* particle : type.Content()) result &= CanBeMade(*particle);
  return result;
}

bool InstanceGenerator::CanBeMade(const Particle& particle) {
  if (particle.min == 0) return true;
  if (particle.min > kMaxGenerated || particle.kind == ParticleKind::kWildcard) return false;
  if (m_SearchDepth == kMaxSearchDepth || m_SearchLeft == 0) return true;
  --m_SearchLeft;
  ++m_SearchDepth;
  bool result = true;
  if (particle.kind == ParticleKind::kElement) {
    result = FindElement(*particle.element).can_be_made;
  } else if (particle.group->compositor == Compositor::kChoice) {
    result = FindAlternative(*particle.group).can_be_made;
  } else {
    for (const Particle& each : particle.group->particles) result &= CanBeMade(each);
  }
  --m_SearchDepth;
  return result;
}

}  // namespace cfgex::internal
