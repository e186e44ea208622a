#include "platform/dom/xml_schema.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "cfgex/com_error.h"
#include "platform/dom/instance_generator.h"
#include "platform/os/encoding.h"
#include "platform/schema/schema_reader.h"

namespace cfgex::internal {
namespace {

// A global component by its name alone: that of the schema's own namespace before all others, which
// follow in the order of declaration.
template <class T, class Components, class Find>
T* FindGlobal(Components& components, const SchemaModel& model, const std::string& name,
              Find&& find) {
  if (T* own = find(NameKey{model.added->uri, name})) return own;
  const auto found = std::find_if(components.begin(), components.end(), [&](const auto& component) {
    return component.local_name == name && find(component.Key()) == &component;
  });
  return found == components.end() ? nullptr : &*found;
}

ISchemaElement* FindElement(SchemaModel& model, const std::string& name) {
  return FindGlobal<ISchemaElement>(model.elements, model, name,
                                    [&](const NameKey& key) { return model.FindElement(key); });
}

ISchemaType* FindType(SchemaModel& model, const std::string& name) {
  const auto find = [&](const NameKey& key) -> ISchemaType* {
    ISchemaType* type = model.FindType(key);
    return type != nullptr && type->schema != nullptr ? type : nullptr;  // none that is built in
  };
  ISchemaType* type = FindGlobal<ISchemaType>(model.complex_types, model, name, find);
  return type != nullptr ? type : FindGlobal<ISchemaType>(model.simple_types, model, name, find);
}

// The types that may replace a type by xsi:type, one step away. Anything may stand
// for anyType, and is not looked at.
using Derived = std::unordered_map<const ISchemaType*, std::vector<const ISchemaComplexType*>>;
Derived DerivedTypes(const SchemaModel& model) {
  Derived derived;
  for (const ISchemaComplexType& type : model.complex_types)
    if (type.base != model.any_type && model.FindType(type.Key()) == &type)
      derived[type.base].push_back(&type);
  return derived;
}

// Level by level, so the nearest of several elements is found; on each level the types that the
// elements have come before those derived from them.
ISchemaElement* FindBelow(const SchemaModel& model, const ISchemaElement& scope,
                          const std::string& name) {
  const Derived derived = DerivedTypes(model);
  std::vector<const ISchemaComplexType*> level, below;
  std::unordered_set<const ISchemaComplexType*> seen;
  const auto enter = [&](std::vector<const ISchemaComplexType*>& types,
                         const ISchemaComplexType* type) {
    if (type != nullptr && seen.insert(type).second) types.push_back(type);
  };
  for (enter(level, scope.type->complex); !level.empty(); level = std::exchange(below, {})) {
    for (std::size_t i = 0; i < level.size(); ++i) {
      const auto found = derived.find(level[i]);
      if (found == derived.end()) continue;
      for (const ISchemaComplexType* type : found->second) enter(level, type);
    }
    for (const ISchemaComplexType* type : level) {
      for (ISchemaElement* element : type->Elements()) {
        if (element->local_name == name) return element;
        enter(below, element->type->complex);
        for (const ISchemaElement* member : element->AllSubstitutes())
          enter(below, member->type->complex);
      }
    }
  }
  return nullptr;
}

InstanceRoot FindRoot(SchemaModel& model, const std::string& name, const std::string& scope) {
  const ISchemaElement* above = scope.empty() ? nullptr : FindElement(model, scope);
  ISchemaElement* element = above == nullptr ? nullptr : FindBelow(model, *above, name);
  if (element == nullptr) element = FindElement(model, name);
  return {element, element != nullptr ? nullptr : FindType(model, name)};
}

}  // namespace

class CXMLSchema::CImpl {
 public:
  ComPtr<SchemaModel> m_Schema;
};

CXMLSchema::CXMLSchema() : m_pImpl(new CImpl) {}
CXMLSchema::~CXMLSchema() { delete m_pImpl; }

bool CXMLSchema::LoadSchema(const wchar_t* path) {
  m_pImpl->m_Schema = nullptr;
  if (path == nullptr) return false;
  try {
    m_pImpl->m_Schema = OpenSchemaFile(path);
  } catch (const _com_error&) {
    return false;
  }
  return true;
}

std::wstring CXMLSchema::CreateXmlInstance(const wchar_t* name, CSchemaElementCallback& callback,
                                           const wchar_t* scope) {
  if (!m_pImpl->m_Schema || name == nullptr || *name == L'\0') return {};
  SchemaModel& model = *m_pImpl->m_Schema;
  const InstanceRoot root = FindRoot(model, ToUtf8(name), scope == nullptr ? "" : ToUtf8(scope));
  if (root.element == nullptr && root.type == nullptr) return {};
  const auto document = MakeCounted<IXMLDOMDocument2>();
  InstanceGenerator generator(model, *document, callback);
  const ComPtr<IXMLDOMElement> element = generator.Generate(root);
  return element ? element->get_xml() : std::wstring();
}

}  // namespace cfgex::internal
