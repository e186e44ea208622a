// What depends on several components being filled: what is inherited, the tables of children, and
// what the schema costs the engine.
#include <unordered_set>

#include "platform/schema/schema_reader_parts.h"

namespace cfgex::internal {
namespace {

// All nodes that the roots lead to, each after those that it leads to itself. Raises _com_error
// where one leads back to itself or a path is too long. `next` returns what a node leads to.
template <class T, class Next, class... Roots>
std::vector<T*> InOrder(const std::string& what, Next next, Roots&... roots) {
  std::vector<T*> order;
  std::unordered_map<T*, std::size_t> heights;  // 0 while the node is on the path
  const auto follow = [&](T& root) {
    std::vector<T*> open{&root};  // the path, and beside it what its nodes lead to
    while (!open.empty()) {
      T* node = open.back();
      if (heights.emplace(node, 0).second) {
        for (T* each : next(*node)) {
          const auto known = heights.find(each);
          if (known == heights.end())
            open.push_back(each);
          else if (known->second == 0)
            RefuseSchema("circular " + what);
        }
        continue;
      }
      open.pop_back();
      if (heights[node] > 0) continue;
      std::size_t height = 1;
      for (T* each : next(*node)) height = std::max(height, heights[each] + 1);
      if (height > kMaxSchemaChain) RefuseSchema(what + " nested too deeply");
      heights[node] = height;
      order.push_back(node);
    }
  };
  (std::for_each(roots.begin(), roots.end(), follow), ...);
  return order;
}

// What a component comes to when all that it refers to is written out in its place.
struct Weight {
  double particles = 0;
  double optional = 0;  // particles that may be left out, by what each costs
  double once = 0;      // those of them that are in no group that repeats
  double parts = 0;     // of a group or a union, with those in between
  double attributes = 0;
  double values = 0;  // that a value of a simple type is compared with

  Weight& operator+=(const Weight& more) {
    particles += more.particles;
    optional += more.optional;
    once += more.once;
    parts += more.parts;
    return *this;
  }
};

class Finisher {
 public:
  Finisher(SchemaModel& model, SchemaBudget& budget) : m_Model(model), m_Budget(budget) {}
  void Run() {
    FinishElements();
    WeighGroups();
    FinishTypes();
    WeighValues();
  }

 private:
  void FinishElements();
  void WeighGroups();
  void FinishTypes();
  void FinishSimpleType(SimpleType& type);
  void FinishComplexType(ISchemaComplexType& type);
  void FinishSimpleContent(ISchemaComplexType& type);
  void BuildTable(ISchemaComplexType& type);
  void WeighValues();

  Weight WeightOf(const Particle& particle);
  double AttributesOf(const AttributeGroup& group);

  SchemaModel& m_Model;
  SchemaBudget& m_Budget;
  std::unordered_map<const void*, Weight> m_Weights;                // of types and groups
  std::unordered_map<const ISchemaElement*, double> m_Substitutes;  // how many there are of one
};

void Finisher::FinishElements() {
  const auto order = InOrder<ISchemaElement>(
      "substitution group",
      [](const ISchemaElement& element) {
        std::vector<ISchemaElement*> head;
        if (element.substitution_head != nullptr) head.push_back(element.substitution_head);
        return head;
      },
      m_Model.elements);
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

Weight Finisher::WeightOf(const Particle& particle) {
  Weight weight;
  if (particle.kind == ParticleKind::kGroup) {
    weight = m_Weights[particle.group];
    // Any of them may follow any other then.
    if (particle.max > 1) weight.optional += 3 * std::exchange(weight.once, 0);
  } else {
    weight.particles = 1;
    if (particle.kind == ParticleKind::kElement) {
      const double members = m_Substitutes[particle.element->declaration];
      weight.particles += members;
      weight.optional += members * 1.5;  // measured where the head is optional
    }
  }
  if (particle.min == 0) {
    weight.optional += 1;
    weight.once += 1;
  }
  weight.parts += 1;
  return weight;
}

double Finisher::AttributesOf(const AttributeGroup& group) {
  auto count = static_cast<double>(group.attributes.size());
  for (const AttributeGroup* inner : group.groups) count += 1 + m_Weights[inner].attributes;
  return count;
}

void Finisher::WeighGroups() {
  const auto inner_groups = [](const ModelGroup& group) {
    std::vector<ModelGroup*> inner;
    for (const Particle& particle : group.particles)
      if (particle.group != nullptr) inner.push_back(particle.group);
    return inner;
  };
  for (const ModelGroup* group : InOrder<ModelGroup>("group", inner_groups, m_Model.groups)) {
    Weight weight;
    for (const Particle& particle : group->particles) weight += WeightOf(particle);
    m_Budget.SpendOnParts(weight.parts);
    m_Weights[group] = weight;
  }
  for (const AttributeGroup* group : InOrder<AttributeGroup>(
           "attribute group", [](const AttributeGroup& each) { return each.groups; },
           m_Model.attribute_groups)) {
    const double attributes = AttributesOf(*group);
    m_Budget.SpendOnAttributes(attributes);
    m_Weights[group].attributes = attributes;
  }
}

void Finisher::FinishTypes() {
  const auto parts = [](const ISchemaType& type) {
    std::vector<ISchemaType*> next;
    if (type.base != nullptr) next.push_back(type.base);
    if (type.simple != nullptr) {
      if (type.simple->item_type != nullptr) next.push_back(type.simple->item_type);
      next.insert(next.end(), type.simple->members.begin(), type.simple->members.end());
    } else if (type.complex->simple_content != nullptr) {
      next.push_back(type.complex->simple_content);
    }
    return next;
  };
  for (ISchemaType* type : InOrder<ISchemaType>("type definition", parts, m_Model.complex_types,
                                                m_Model.simple_types)) {
    if (type->simple != nullptr)
      FinishSimpleType(*type->simple);
    else if (type != m_Model.any_type)
      FinishComplexType(*type->complex);
  }
}

// A list collapses, and so does the value of a union but for the member that it belongs to.
bool CollapsesBlanks(const SimpleType& type, const SimpleType* base) {
  if (type.blanks == Blanks::kCollapse || type.variety == Variety::kList) return true;
  if (type.blanks != Blanks::kInherited) return false;
  if (type.variety != Variety::kUnion) return base != nullptr && base->collapses_blanks;
  return std::all_of(type.members.begin(), type.members.end(),
                     [](const SimpleType* member) { return member->collapses_blanks; });
}

void Finisher::FinishSimpleType(SimpleType& type) {
  // A value of the type is compared with those that the type lists, or else, as these are
  // themselves, with what a value of its base, its items or its members is.
  Weight weight;
  if (type.base != nullptr) weight.values += m_Weights[type.base].values;
  if (type.item_type != nullptr) weight.values += m_Weights[type.item_type].values;
  for (const SimpleType* member : type.members) {
    weight.values += m_Weights[member].values;
    weight.parts += 1 + m_Weights[member].parts;
  }
  const auto own = static_cast<double>(type.enumeration);
  m_Budget.SpendOnComparisons(own * weight.values);
  m_Budget.SpendOnParts(weight.parts);
  if (own > 0) weight.values = own;
  m_Weights[&type] = weight;

  const SimpleType* base = type.base == nullptr ? nullptr : type.base->simple;
  if (base != nullptr && base != m_Model.any_simple_type) {
    type.variety = base->variety;
    type.item_type = base->item_type;
  }
  type.collapses_blanks = CollapsesBlanks(type, base);
}

void Finisher::FinishComplexType(ISchemaComplexType& type) {
  const ISchemaComplexType* base = type.base->complex;
  const bool extends = base != nullptr && type.derivation == Derivation::kExtension;
  Weight weight;
  if (extends) weight += m_Weights[base];
  if (type.particle != nullptr) weight += WeightOf(*type.particle);
  weight.attributes = AttributesOf(type.attributes) + m_Weights[type.base].attributes;
  m_Budget.SpendOnContent(weight.particles, weight.optional);
  m_Budget.SpendOnAttributes(weight.attributes);
  m_Weights[&type] = weight;

  if (type.has_simple_content) return FinishSimpleContent(type);
  const bool has_own = type.particle != nullptr && WeightOf(*type.particle).particles > 0;
  if (extends && !has_own && base->is_mixed) type.is_mixed = true;
  BuildTable(type);
}

void Finisher::FinishSimpleContent(ISchemaComplexType& type) {
  const ISchemaComplexType* base = type.base->complex;
  SimpleType* inherited = base == nullptr ? type.base->simple : base->simple_content;
  if (inherited == nullptr) inherited = m_Model.any_simple_type;
  if (type.simple_content == nullptr) {
    type.simple_content = inherited;
  } else if (type.simple_content->base == nullptr) {
    type.simple_content->base = inherited;
    FinishSimpleType(*type.simple_content);
  }
  if (type.derivation == Derivation::kRestriction &&
      type.simple_content->base_types.get_length() == 0)
    type.simple_content->base_types.Add(*type.simple_content->base);
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
  for (const Particle* particle : Leaves({type.particle})) {
    if (particle->kind == ParticleKind::kElement)
      table.elements.emplace(particle->element->Key(), particle->element);
    else
      table.wildcards.push_back(particle->wildcard);
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

// The defaults and fixed values; those in enumerations were weighed with their types.
void Finisher::WeighValues() {
  const auto weigh = [this](const auto& declared) {
    if (declared.default_value.empty() && declared.fixed_value.empty()) return;
    const ISchemaType& type = *declared.type;
    const SimpleType* simple = type.simple != nullptr ? type.simple : type.complex->simple_content;
    if (simple != nullptr) m_Budget.SpendOnComparisons(m_Weights[simple].values);
  };
  const auto weigh_all = [&weigh](const auto& all) {
    std::for_each(all.begin(), all.end(), weigh);
  };
  for (const ISchemaElement& element : m_Model.elements)
    if (element.declaration == &element) weigh(element);
  weigh_all(m_Model.global_attributes);
  for (const AttributeGroup& group : m_Model.attribute_groups) weigh_all(group.attributes);
  for (const ISchemaComplexType& type : m_Model.complex_types)
    weigh_all(type.attributes.attributes);
}

}  // namespace

void FinishModel(SchemaModel& model, SchemaBudget& budget) { Finisher(model, budget).Run(); }

}  // namespace cfgex::internal
