// The reader of schema documents, shared by its sources.
//
// It goes over the documents twice. The first time it makes a component for every global
// definition, so that the second, which fills them, resolves any reference to a component at
// once, in whatever order things are written. What depends on several components being filled (what
// is inherited) is left to schema_reader_finish.cpp.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/schema/schema_budget.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

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
  template <class T>
  struct Definition {
    T* component;
    const xmlNode* c_node;
    ReadingScope scope;
  };
  template <class T>
  using Definitions = std::vector<Definition<T>>;

  // Making global components (schema_reader.cpp).
  void RegisterAll();
  const ReadingContext* Enter(const SchemaDocument& document, const std::string& ns);
  void RegisterGlobal(const ReadingContext& context, const xmlNode* c_node, bool redefining);
  ISchema& Namespace(const std::string& uri);
  void FillAll();

  // Names (schema_reader.cpp).
  QualifiedName ResolveName(const ReadingScope& scope, const xmlNode* c_node,
                            const std::string& text) const;
  template <class T>
  T* Find(const ReadingScope& scope, const NameMap<T*>& map, const QualifiedName& name) const;

  // Types (schema_reader_types.cpp).
  ISchemaType* TypeByName(const ReadingScope& scope, const xmlNode* c_node,
                          const std::string& name);
  SimpleType* SimpleTypeByName(const ReadingScope& scope, const xmlNode* c_node,
                               const std::string& name);
  SimpleType& NewSimpleType(const ReadingScope& scope, const xmlNode* c_node);
  SimpleType* InlineSimpleType(const ReadingScope& scope, const xmlNode* c_parent);
  void FillType(ISchemaType& type, const xmlNode* c_node, const ReadingScope& scope);
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
  Definitions<ISchemaElement> m_ElementDefinitions;
  Definitions<ISchemaType> m_TypeDefinitions;
  Definitions<ModelGroup> m_GroupDefinitions;
  Definitions<AttributeGroup> m_AttributeGroupDefinitions;
  Definitions<AttributeUse> m_AttributeDefinitions;
};

template <class T>
T* SchemaReader::Find(const ReadingScope& scope, const NameMap<T*>& map,
                      const QualifiedName& name) const {
  const auto found = map.find(name.Key());
  if (found == map.end()) return nullptr;
  return found->second == scope.self ? static_cast<T*>(scope.previous) : found->second;
}

// The first child of that name in the schema language, or null.
const xmlNode* XsdChild(const xmlNode* c_parent, std::string_view name);
bool BooleanAttribute(const xmlNode* c_node, const char* name);

// Completes a model whose components are filled: what is inherited, and the tables of children.
// Raises what ReadSchema raises.
void FinishModel(SchemaModel& model, SchemaBudget& budget);

}  // namespace cfgex::internal
