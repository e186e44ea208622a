// Makes the tree of a default instance from the components of a schema: what CXMLSchema promises of
// the text, as a tree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/dom/dom.h"
#include "platform/dom/xml_schema.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// What an instance is made of: an element, or a type that has no element.
struct InstanceRoot {
  ISchemaElement* element = nullptr;
  ISchemaType* type = nullptr;  // without an element; its name becomes the tag
};

// How many elements and groups are generated or asked for at most.
inline constexpr std::size_t kMaxGenerated = 100'000;
// How many parts within parts are searched. What is deeper counts as what can be made.
inline constexpr int kMaxSearchDepth = 100;

// For one instance. A level is a row of particles in the making: the content of an element, or a
// group. Invariants:
// 1. The levels lead from the content of the root to where the generator is. Those of groups go
//    into the node of the content that they belong to.
// 2. No element on the way is required, directly or through other required elements, by itself.
// 3. Time and memory are bounded by kMaxGenerated, depth by kMaxDepth. Nothing recurs but the
//    search for what can be made, and that not deeper than kMaxSearchDepth.
//
// Before anything is made, the generator searches what can be: what has a finite form by way of its
// required parts. Of several ways to take, one is settled as soon as it is seen to end, and each
// rests on ways that were settled before. So the required parts of what is settled never come back
// to it.
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
    const ISchemaElement* declaration = nullptr;  // of the node of a content; none for a mere type
    bool is_required = false;                     // whether the content's node had to be there
    std::size_t at = 0;                           // in `particles`
    std::uint64_t made = 0;                       // copies of that particle
  };

  bool Step();
  bool AddElement(const Particle& particle, const ComPtr<IXMLDOMElement>& parent);
  void OpenGroup(const ModelGroup& group, const ComPtr<IXMLDOMElement>& parent);
  bool OpenContent(const ComPtr<IXMLDOMElement>& node, const ISchemaElement* declaration,
                   const ISchemaType& type, bool is_required);
  bool IsRequiredByItself(const ISchemaElement& declaration) const;
  ComPtr<IXMLDOMElement> NewNode(const NameKey& name, const ISchemaElement* declaration,
                                 const ISchemaType& type);
  bool IsOmitted(const ComPtr<ISchemaElement>& declaration, const ComPtr<IXMLDOMElement>& node);

  // What a place holds: the element itself or a member of its substitution group; the type
  // itself or, for an abstract one, a derived one; an alternative of a choice. It is the first of
  // these, in the order of declaration, that is not abstract and can be made, else the first that
  // is not abstract; null if there is none.
  ISchemaElement* ConcreteElement(ISchemaElement& place);
  ISchemaType* ConcreteType(ISchemaType& declared);
  const Particle* Alternative(const ModelGroup& choice);

  template <class T>
  struct Found {
    T* pick = nullptr;
    bool can_be_made = false;
  };
  Found<ISchemaElement> FindElement(ISchemaElement& place);
  Found<ISchemaType> FindType(ISchemaType& declared);
  Found<const Particle> FindAlternative(const ModelGroup& choice);
  bool CanBeMade(const ISchemaElement& declaration);
  bool CanBeMade(const ISchemaComplexType& type);
  bool CanBeMade(const Particle& particle);

  SchemaModel& m_Model;
  IXMLDOMDocument2& m_Document;
  CXMLSchema::CSchemaElementCallback& m_Callback;
  std::vector<Level> m_Levels;
  int m_Depth = 0;  // levels that are contents
  std::size_t m_Left = kMaxGenerated;

  // What is settled, or, without an end, was taken; and the elements that the search is in.
  std::unordered_map<const ISchemaElement*, ISchemaElement*> m_Members;
  std::unordered_map<const ISchemaType*, ISchemaType*> m_Derived;
  std::unordered_map<const ModelGroup*, const Particle*> m_Alternatives;
  std::unordered_set<const ISchemaElement*> m_CanBeMade;
  std::unordered_set<const ISchemaElement*> m_Searching;
  int m_SearchDepth = 0;
  std::size_t m_SearchLeft = kMaxGenerated;
};

}  // namespace cfgex::internal
