// What is inherited, and the limits.
#include <algorithm>
#include <unordered_set>

#include "platform/schema/schema_reader_limits.h"
#include "platform/schema/schema_reader_parts.h"

namespace cfgex::internal {
namespace {

[[noreturn]] void Refuse(const std::string& why) {
  throw _com_error(_com_error::kFail, "schema refused: " + why);
}

// All nodes that the roots lead to, each after those that it leads to itself. Raises _com_error
// where one leads back to itself or a path is too long. `next` gives what a node leads to.
template <class T, class Next>
std::vector<T*> InOrder(const std::vector<T*>& roots, const std::string& what, Next next) {
  struct Step {
    T* node;
    std::vector<T*> next;
    std::size_t height;
  };
  std::vector<T*> order;
  std::unordered_map<T*, std::size_t> heights;  // 0 while the node is on the path
  std::vector<Step> path;
  const auto enter = [&](T* node) {
    if (const auto [place, fresh] = heights.emplace(node, 0); fresh) {
      path.push_back({node, next(*node), 1});
    } else if (place->second == 0) {
      Refuse("circular " + what);
    } else if (!path.empty()) {
      path.back().height = std::max(path.back().height, place->second + 1);
    }
  };
  for (T* root : roots) {
    enter(root);
    while (!path.empty()) {
      if (!path.back().next.empty()) {
        T* node = path.back().next.back();
        path.back().next.pop_back();
        enter(node);
        continue;
      }
      const std::size_t height = path.back().height;
      if (height > kMaxSchemaChain) Refuse(what + " nested too deeply");
      heights[path.back().node] = height;
      order.push_back(path.back().node);
      path.pop_back();
      if (!path.empty()) path.back().height = std::max(path.back().height, height + 1);
    }
  }
  return order;
}

template <class T>
std::vector<T*> Pointers(std::deque<T>& all) {
  std::vector<T*> result;
  result.reserve(all.size());
  for (T& each : all) result.push_back(&each);
  return result;
}

class Finisher {
 public:
  explicit Finisher(SchemaModel& model) : m_Model(model) {}
  void Run() {
    FinishElements();
    WeighGroups();
    WeighAttributeGroups();
    FinishTypes();
    WeighValues();
  }

 private:
  // What a content model costs the engine, see schema_reader_limits.h.
  struct Weight {
    double particles = 0;
    double slow = 0;  // optional particles, and members of substitution groups
    double visits = 0;
    void Add(const Weight& more) {
      particles += more.particles;
      slow += more.slow;
      visits += more.visits;
    }
  };

  void FinishElements();
  void WeighGroups();
  void WeighAttributeGroups();
  Weight WeightOf(const Particle& particle) const;
  void WeighAttributes(const ISchemaComplexType& type);
  void AddAttributeSquare(double count);
  void WeighValues();
  void Compare(const ISchemaType* type);
  void WeighEnumeration(const SimpleType& type);
  void FinishTypes();
  void FinishSimpleType(SimpleType& type);
  void WeighUnion(const SimpleType& type);
  void FinishComplexType(ISchemaComplexType& type);
  void BuildTable(ISchemaComplexType& type);

  SchemaModel& m_Model;
  std::unordered_map<const ISchemaElement*, double> m_Substitutes;  // all that may stand for one
  std::unordered_map<const ModelGroup*, Weight> m_Groups;
  std::unordered_map<const ISchemaComplexType*, Weight> m_Types;
  std::unordered_map<const AttributeGroup*, double> m_AttributeGroups;
  std::unordered_map<const ISchemaComplexType*, double> m_Attributes;
  std::unordered_map<const SimpleType*, double> m_Unions;
  std::unordered_map<const SimpleType*, double> m_Values;  // that one of the type is compared with
  double m_AttributeSquares = 0;
  double m_Comparisons = 0;
  double m_UnionVisits = 0;
  double m_Squares = 0;
  double m_Cubes = 0;
};

void Finisher::FinishElements() {
  const auto order =
      InOrder(Pointers(m_Model.elements), "substitution group", [](const ISchemaElement& element) {
        std::vector<ISchemaElement*> head;
        if (element.substitution_head != nullptr) head.push_back(element.substitution_head);
        return head;
      });
  for (ISchemaElement* element : order) {
    ISchemaElement* head = element->substitution_head;
    if (head != nullptr) head->substitutes.push_back(element);
    if (element->type == nullptr) element->type = head != nullptr ? head->type : m_Model.any_type;
  }
  for (auto element = order.rbegin(); element != order.rend(); ++element)
    if (const ISchemaElement* head = (*element)->substitution_head)
      m_Substitutes[head] += 1 + m_Substitutes[*element];

  for (ISchemaElement& element : m_Model.elements)
    if (element.declaration != &element) element.Use(*element.declaration);
}

Finisher::Weight Finisher::WeightOf(const Particle& particle) const {
  Weight weight;
  if (particle.kind == ParticleKind::kGroup) {
    weight = m_Groups.at(particle.group);
  } else {
    weight.particles = 1;
    if (particle.kind == ParticleKind::kElement) {
      const auto members = m_Substitutes.find(particle.element->declaration);
      if (members != m_Substitutes.end()) {
        weight.particles += members->second;
        weight.slow += members->second * kSubstituteWeight;
      }
    }
  }
  if (particle.min == 0) weight.slow += 1;
  weight.visits += 1;
  return weight;
}

void Finisher::WeighGroups() {
  const auto order = InOrder(Pointers(m_Model.groups), "group", [](const ModelGroup& group) {
    std::vector<ModelGroup*> inner;
    for (const Particle& particle : group.particles)
      if (particle.group != nullptr) inner.push_back(particle.group);
    return inner;
  });
  double visits = 0;
  for (const ModelGroup* group : order) {
    Weight weight;
    for (const Particle& particle : group->particles) weight.Add(WeightOf(particle));
    m_Groups[group] = weight;
    visits += weight.visits;
    if (visits > kMaxGroupVisits) Refuse("model groups too large");
  }
}

void Finisher::WeighAttributeGroups() {
  const auto order = InOrder(Pointers(m_Model.attribute_groups), "attribute group",
                             [](const AttributeGroup& group) { return group.groups; });
  for (const AttributeGroup* group : order) {
    double weight = static_cast<double>(group->attributes.size());
    for (const AttributeGroup* inner : group->groups) weight += 1 + m_AttributeGroups[inner];
    if (weight > kMaxAttributes) Refuse("too many attributes");
    m_AttributeGroups[group] = weight;
    AddAttributeSquare(weight);
  }
}

// What the type inherits counts again.
void Finisher::WeighAttributes(const ISchemaComplexType& type) {
  double weight = static_cast<double>(type.attributes.attributes.size());
  for (const AttributeGroup* group : type.attributes.groups) weight += m_AttributeGroups[group];
  if (type.base->complex != nullptr) weight += m_Attributes[type.base->complex];
  m_Attributes[&type] = weight;
  AddAttributeSquare(weight);
}

void Finisher::AddAttributeSquare(double count) {
  m_AttributeSquares += count * count;
  if (m_AttributeSquares > kMaxAttributeSquares) Refuse("too many attributes");
}

// The defaults and fixed values; those in enumerations were weighed with their types.
void Finisher::WeighValues() {
  const auto weigh = [this](const auto& holder, const ISchemaType* type) {
    if (!holder.default_value.empty() || !holder.fixed_value.empty()) Compare(type);
  };
  for (const ISchemaElement& element : m_Model.elements)
    if (element.declaration == &element) weigh(element, element.type);
  const auto weighAll = [&weigh](const std::vector<AttributeUse>& uses) {
    for (const AttributeUse& use : uses) weigh(use, use.type);
  };
  for (const AttributeUse& use : m_Model.global_attributes) weigh(use, use.type);
  for (const AttributeGroup& group : m_Model.attribute_groups) weighAll(group.attributes);
  for (const ISchemaComplexType& type : m_Model.complex_types) weighAll(type.attributes.attributes);
}

void Finisher::Compare(const ISchemaType* type) {
  const SimpleType* simple = type->simple != nullptr ? type->simple : type->complex->simple_content;
  const auto known = m_Values.find(simple);
  if (known == m_Values.end()) return;
  m_Comparisons += known->second;
  if (m_Comparisons > kMaxComparisons) Refuse("enumerations too large");
}

void Finisher::FinishTypes() {
  std::vector<ISchemaType*> roots;
  for (ISchemaComplexType& type : m_Model.complex_types) roots.push_back(&type);
  for (SimpleType& type : m_Model.simple_types) roots.push_back(&type);
  const auto order = InOrder(roots, "type definition", [](const ISchemaType& type) {
    std::vector<ISchemaType*> next;
    if (type.base != nullptr) next.push_back(type.base);
    if (type.simple != nullptr) {
      if (type.simple->item_type != nullptr) next.push_back(type.simple->item_type);
      next.insert(next.end(), type.simple->members.begin(), type.simple->members.end());
    } else if (type.complex->simple_content != nullptr) {
      next.push_back(type.complex->simple_content);
    }
    return next;
  });
  for (ISchemaType* type : order) {
    if (type->simple != nullptr) {
      WeighUnion(*type->simple);
      FinishSimpleType(*type->simple);
    } else if (type != m_Model.any_type) {
      FinishComplexType(*type->complex);
    }
  }
}

// Those of the base are not followed again by the engine.
void Finisher::WeighUnion(const SimpleType& type) {
  if (type.members.empty()) return;
  double visits = 0;
  for (const SimpleType* member : type.members) {
    const auto known = m_Unions.find(member);
    visits += 1 + (known != m_Unions.end() ? known->second : 0);
  }
  m_Unions[&type] = visits;
  m_UnionVisits += visits;
  if (m_UnionVisits > kMaxUnionVisits) Refuse("unions too large");
}

// A value of the type is compared with those of its enumeration, or else, as those of its own are,
// with what a value of its base or of its members is.
void Finisher::WeighEnumeration(const SimpleType& type) {
  double inherited = 0;
  const auto add = [&](const SimpleType* other) {
    if (const auto known = m_Values.find(other); known != m_Values.end())
      inherited += known->second;
  };
  if (type.base != nullptr) add(type.base->simple);
  for (const SimpleType* member : type.members) add(member);
  if (type.item_type != nullptr) add(type.item_type);
  const auto own = static_cast<double>(type.enumeration.size());
  m_Comparisons += own * inherited;
  if (m_Comparisons > kMaxComparisons) Refuse("enumerations too large");
  if (own + inherited > 0) m_Values[&type] = own > 0 ? own : inherited;
}

void Finisher::FinishSimpleType(SimpleType& type) {
  m_Cubes += std::exchange(type.pattern_cubes, 0);
  if (m_Cubes > kMaxContentCubes) Refuse("patterns too large");
  WeighEnumeration(type);
  const SimpleType* base = type.base == nullptr ? nullptr : type.base->simple;
  if (base == nullptr || base == m_Model.any_simple_type) return;
  type.variety = base->variety;
  type.item_type = base->item_type;
  type.has_pattern = type.has_pattern || base->has_pattern;
}

void Finisher::FinishComplexType(ISchemaComplexType& type) {
  ISchemaComplexType* base = type.base->complex;
  const bool extends = type.derivation == Derivation::kExtension;
  Weight weight;
  if (extends && base != nullptr) weight = m_Types[base];
  if (type.particle != nullptr) weight.Add(WeightOf(*type.particle));
  m_Types[&type] = weight;
  m_Squares += weight.particles * weight.particles;
  m_Cubes += weight.slow * weight.slow * weight.slow;
  if (m_Squares > kMaxContentSquares || m_Cubes > kMaxContentCubes)
    Refuse("content models too large");
  WeighAttributes(type);

  if (type.has_simple_content) {
    type.content = ContentKind::kSimple;
    SimpleType* inherited = base == nullptr ? type.base->simple : base->simple_content;
    if (inherited == nullptr) inherited = m_Model.any_simple_type;
    if (type.simple_content == nullptr) {
      type.simple_content = inherited;
    } else if (type.simple_content->base == nullptr) {
      type.simple_content->base = inherited;
      FinishSimpleType(*type.simple_content);
    }
    if (!extends && type.simple_content->base_types.get_length() == 0)
      type.simple_content->base_types.Add(*type.simple_content->base);
    return;
  }
  const bool has_own = type.particle != nullptr && m_Groups[type.particle->group].particles > 0;
  const bool has_content =
      has_own || (extends && base != nullptr && base->content != ContentKind::kEmpty);
  if (extends && !has_own && base != nullptr && base->is_mixed) type.is_mixed = true;
  if (type.is_mixed)
    type.content = ContentKind::kMixed;
  else if (has_content)
    type.content = ContentKind::kElementOnly;
  BuildTable(type);
}

void Finisher::BuildTable(ISchemaComplexType& type) {
  const ISchemaComplexType* base = type.base->complex;
  const ChildTable* inherited = nullptr;
  if (type.derivation == Derivation::kExtension && base != nullptr) inherited = base->children;
  if (type.particle == nullptr) {
    type.children = inherited;
    return;
  }
  ChildTable& table = m_Model.tables.emplace_back();
  std::unordered_set<const ModelGroup*> seen;
  std::vector<const Particle*> open{type.particle};
  while (!open.empty()) {
    const Particle& particle = *open.back();
    open.pop_back();
    if (particle.kind == ParticleKind::kElement) {
      table.elements.emplace(particle.element->Key(), particle.element);
    } else if (particle.kind == ParticleKind::kWildcard) {
      table.wildcards.push_back(particle.wildcard);
    } else if (seen.insert(particle.group).second) {
      const auto& inner = particle.group->particles;
      for (auto each = inner.rbegin(); each != inner.rend(); ++each) open.push_back(&*each);
    }
  }
  // A table swallows those below it that are no larger: each name is copied log n times at most.
  while (inherited != nullptr && inherited->elements.size() <= table.elements.size()) {
    table.elements.insert(inherited->elements.begin(), inherited->elements.end());
    table.wildcards.insert(table.wildcards.end(), inherited->wildcards.begin(),
                           inherited->wildcards.end());
    inherited = inherited->inherited;
  }
  table.inherited = inherited;
  type.children = &table;
}

}  // namespace

void FinishModel(SchemaModel& model) { Finisher(model).Run(); }

}  // namespace cfgex::internal
