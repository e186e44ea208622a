// Makes the tree of a default instance from the components of a schema: what CXMLSchema promises of
// the text, as a tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "platform/dom/dom.h"
#include "platform/schema/schema_components.h"
#include "platform/schema/xml_schema.h"

namespace cfgex {

// What an instance is made of: an element, or a type that has no element.
struct InstanceRoot {
  SchemaElement* element = nullptr;
  SchemaType* type = nullptr;  // without an element; its name becomes the tag
};

// How many elements and groups are generated or asked for at most.
inline constexpr std::size_t kMaxGenerated = 100'000;

// For one instance. A level is a row of particles in the making: the content of an element, or a
// group. Invariants:
// 1. The levels lead from the content of the root to where the generator is. Those of groups go
//    into the node of the content that they belong to.
// 2. No element on the way is required, directly or through other required elements, by itself.
// 3. Time and memory are bounded by kMaxGenerated, depth by kMaxDepth. Nothing recurs.
class InstanceGenerator {
 public:
  // The model has to outlive the generator.
  InstanceGenerator(SchemaModel& model, IXMLDOMDocument2& document,
                    CXMLSchema::CSchemaElementCallback& callback)
      : m_Model(model), m_Document(document), m_Callback(callback) {}

  // The root, which is in no tree of the document, with all below it. None when it has no finite
  // form. Raises _com_error where the document fails, and what the callback raises.
  ComPtr<IXMLDOMElement> Generate(const InstanceRoot& root);

 private:
  struct Level {
    ComPtr<IXMLDOMElement> node;
    std::vector<const Particle*> particles{};
    bool is_content = false;
    const SchemaElement* declaration = nullptr;  // of the node of a content; none for a mere type
    bool is_required = false;                    // whether the content's node had to be there
    std::size_t at = 0;                          // in `particles`
    std::uint64_t made = 0;                      // copies of that particle
  };

  bool Step();
  bool AddElement(const Particle& particle, const ComPtr<IXMLDOMElement>& parent);
  void OpenGroup(const ModelGroup& group, const ComPtr<IXMLDOMElement>& parent);
  bool OpenContent(const ComPtr<IXMLDOMElement>& node, const SchemaElement* declaration,
                   const SchemaType& type, bool is_required);
  bool IsRequiredByItself(const SchemaElement& declaration) const;
  ComPtr<IXMLDOMElement> NewNode(const NameKey& name, const SchemaElement* declaration,
                                 const SchemaType& type);
  bool IsOmitted(const ComPtr<ISchemaElement>& declaration, const ComPtr<IXMLDOMElement>& node);
  // What stands for an abstract component: the first in the order of declaration that is not
  // abstract; null for nothing. Any other stands for itself.
  SchemaElement* ConcreteElement(SchemaElement& place);
  SchemaType* ConcreteType(SchemaType& declared);

  SchemaModel& m_Model;
  IXMLDOMDocument2& m_Document;
  CXMLSchema::CSchemaElementCallback& m_Callback;
  std::vector<Level> m_Levels;
  int m_Depth = 0;  // levels that are contents
  std::size_t m_Left = kMaxGenerated;
  // What was found for abstract components.
  std::unordered_map<const SchemaElement*, SchemaElement*> m_Members;
  std::unordered_map<const SchemaType*, SchemaType*> m_Derived;
};

}  // namespace cfgex
