// The reader of schema documents, shared by its sources.
//
// It goes over the documents twice. The first time it makes a component for every global
// definition, so that the second, which fills them, resolves any reference to a component at
// once, in whatever order things are written. What depends on several components being filled (what
// is inherited) is left to schema_reader_finish.cpp.
#pragma once

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cfgex/com_error.h"
#include "platform/schema/schema_reader.h"

namespace cfgex::internal {

[[noreturn]] inline void RefuseSchema(const std::string& why) {
  throw _com_error(_com_error::kFail, "schema refused: " + why);
}

// Steps of derivation below anyType, of substitution groups, of groups in groups. They cost next to
// nothing, but the engine follows some of them on the stack.
inline constexpr std::size_t kMaxSchemaChain = 1000;

// What a schema may cost the engine.
//
// The engine compiles any schema, though some take it hours or all of the memory. So the reader,
// which sees a schema before the engine, spends one budget on it as it reads it and writes it out,
// and refuses a schema that asks for more. Measured with libxml2 2.9.14, one form taking all of it:
//
//   one content model of 7000 particles       0.2 s  570 MB
//   fifty of 1000 particles                   1.2 s  620 MB
//   one with 2000 optional particles           32 s  120 MB
//   a repeated choice of 500 optional ones     40 s   20 MB
//   one type with 60,000 attributes             8 s   50 MB
//   an enumeration of 30,000 within another    17 s   40 MB
//   unions of 4 million members               0.3 s  260 MB
//   groups of 4 million particles             0.1 s    4 MB
class SchemaBudget {
 public:
  // A content model, or a pattern. Memory goes with the square of the number of particles, time
  // with the cube of the number of those that may be left out. Occurrence numbers cost nothing.
  void SpendOnContent(double particles, double optional) {
    Spend(std::max(particles * particles, optional * optional * optional / 160), "content models");
  }
  // Attributes of a type or an attribute group: the engine compares each with all others.
  void SpendOnAttributes(double count) { Spend(count * count / 80, "attributes"); }
  // Comparisons of a value with one of an enumeration.
  void SpendOnComparisons(double count) { Spend(count / 20, "enumerations"); }
  // What the engine visits when it follows a model group or a union, used or not, to its end. What
  // is referred to twice is followed twice.
  void SpendOnParts(double count) { Spend(count * 10, "groups or unions"); }

 private:
  void Spend(double cost, const char* what) {
    m_Left -= cost;
    if (m_Left < 0) RefuseSchema(std::string(what) + " too large");
  }

  double m_Left = 5e7;
};

struct QualifiedName {
  std::string ns;
  std::string local;
  NameKey Key() const { return {ns, local}; }
};

// A document, read for one target namespace. A document without one that is included by others that
// have one is read once for each of these.
struct ReadingContext {
  const SchemaDocument* document = nullptr;
  ISchema* target = nullptr;
  bool borrowed_target = false;  // the document has none itself
  bool qualified_elements = false;
  bool qualified_attributes = false;
};

// Where a definition is. In a redefinition a reference to `self` means `previous`: as the base
// of a type, and in the content of a group, but not in the elements and types written inside.
struct ReadingScope {
  const ReadingContext* context = nullptr;
  const void* self = nullptr;
  void* previous = nullptr;
};

class SchemaReader {
 public:
  SchemaReader(const SchemaDocuments& documents, SchemaModel& model)
      : m_Documents(documents), m_Model(model) {}
  void Read();

 private:
  // Global components and names (schema_reader.cpp).
  void RegisterAll();
  const ReadingContext* Enter(const SchemaDocument& document, const std::string& ns);
  void RegisterGlobal(const ReadingContext& context, const xmlNode* c_node, bool redefining);
  ISchema& Namespace(const std::string& uri);
  QualifiedName ResolveName(const ReadingScope& scope, const xmlNode* c_node,
                            const std::string& text) const;
  // What a name in `c_node` refers to; null for nothing.
  template <class T>
  T* Find(const ReadingScope& scope, const NameMap<T*>& map, const xmlNode* c_node,
          const std::string& name) const {
    const auto found = map.find(ResolveName(scope, c_node, name).Key());
    if (found == map.end()) return nullptr;
    return found->second == scope.self ? static_cast<T*>(scope.previous) : found->second;
  }

  // Types (schema_reader_types.cpp).
  ISchemaType* TypeByName(const ReadingScope& scope, const xmlNode* c_node,
                          const std::string& name);
  SimpleType* SimpleTypeByName(const ReadingScope& scope, const xmlNode* c_node,
                               const std::string& name);
  SimpleType& NewSimpleType(const ReadingScope& scope, const xmlNode* c_node);
  SimpleType* InlineSimpleType(const ReadingScope& scope, const xmlNode* c_parent);
  void ReadFacets(SimpleType& type, const xmlNode* c_restriction);
  void FillSimpleType(SimpleType& type, const xmlNode* c_node, const ReadingScope& scope);
  void FillComplexType(ISchemaComplexType& type, const xmlNode* c_node, const ReadingScope& scope);
  void FillSimpleContent(ISchemaComplexType& type, const xmlNode* c_node,
                         const ReadingScope& scope);
  void ReadAttributes(AttributeGroup& group, const xmlNode* c_parent, const ReadingScope& scope);
  void FillAttribute(AttributeUse& use, const xmlNode* c_node, const ReadingScope& scope);
  void ReadAttribute(AttributeGroup& group, const xmlNode* c_node, const ReadingScope& scope);

  // Content models (schema_reader_content.cpp).
  const Particle* ReadContent(const xmlNode* c_parent, const ReadingScope& scope);
  bool ReadParticle(Particle& particle, const xmlNode* c_node, const ReadingScope& scope);
  bool ReadElementParticle(Particle& particle, const xmlNode* c_node, const ReadingScope& scope,
                           const std::string& min);
  void FillGroup(ModelGroup& group, const xmlNode* c_node, const ReadingScope& scope);
  void FillNamedGroup(ModelGroup& group, const xmlNode* c_node, const ReadingScope& scope);
  const Wildcard* ReadWildcard(const xmlNode* c_node, const ReadingScope& scope);
  void FillElement(ISchemaElement& element, const xmlNode* c_node, const ReadingScope& scope);

  const SchemaDocuments& m_Documents;
  SchemaModel& m_Model;
  SchemaBudget m_Budget;
  std::deque<ReadingContext> m_Contexts;
  std::deque<QualifiedName> m_Names;  // of components that do not keep their own
  NameMap<ModelGroup*> m_Groups;
  NameMap<AttributeGroup*> m_AttributeGroups;
  NameMap<AttributeUse*> m_Attributes;
  // Each fills a global component. Attributes come first, because uses copy what they say.
  std::deque<std::function<void()>> m_Definitions;
};

// The first child of that name in the schema language, or null.
const xmlNode* XsdChild(const xmlNode* c_parent, std::string_view name);
bool BooleanAttribute(const xmlNode* c_node, const char* name);

// Completes a model whose components are filled: what is inherited, and the tables of children.
// Raises what ReadSchema raises.
void FinishModel(SchemaModel& model, SchemaBudget& budget);

}  // namespace cfgex::internal
