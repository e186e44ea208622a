#include "src/reference_walk.h"

#include <unordered_set>

#include "platform/os/encoding.h"
#include "src/element_declaration.h"
#include "src/frame.h"
#include "src/paths.h"

namespace cfgex::internal {

bool ReferenceClosure::EnterOnce(const InstanceName& name) {
  if (Holds(name)) return false;
  Enter(name);
  return true;
}

std::map<std::wstring, std::vector<const InstanceName*>> ReferenceClosure::ByCategory() const {
  std::map<std::wstring, std::vector<const InstanceName*>> result;
  for (const InstanceName* name : m_Order) result[name->category].push_back(name);
  return result;
}

ReferenceClosure ReferenceClosure::Since(std::size_t size) const {
  ReferenceClosure result;
  for (std::size_t index = size; index < m_Order.size(); ++index) result.Enter(*m_Order[index]);
  return result;
}

ReferenceClosure ReferenceClosure::Without(const ReferenceClosure& other) const {
  ReferenceClosure result;
  for (const InstanceName* name : m_Order)
    if (!other.Holds(*name)) result.Enter(*name);
  return result;
}

bool IsElementOfType(const ComPtr<IXMLDOMElement>& element, const wchar_t* typeName) {
  bool result = false;
  Guarded([&] {
    const ComPtr<ISchemaElement> declaration = DeclarationOf(element);
    if (!declaration) return;
    const ComPtr<ISchemaType> type = declaration->get_type();
    if (!type) return;
    if (type->get_name() == typeName) {
      result = true;
      return;
    }
    const ComPtr<ISchemaItemCollection> baseTypes = type->get_baseTypes();
    if (!baseTypes) return;
    result = static_cast<bool>(As<ISchemaComplexType>(baseTypes->itemByName(typeName)));
  });
  return result;
}

std::optional<InstanceName> ReadReference(const ComPtr<IXMLDOMNode>& node) {
  const auto idElement = As<IXMLDOMElement>(node);
  if (!idElement) return std::nullopt;
  std::wstring id = idElement->get_text();
  if (id.empty()) return std::nullopt;
  const auto parent = As<IXMLDOMElement>(idElement->get_parentNode());
  if (!parent) return std::nullopt;

  if (!IsElementOfType(parent, L"ReferenceType")) {
    if (parent->get_tagName() != L"Item") return std::nullopt;
    const auto array = As<IXMLDOMElement>(parent->get_parentNode());
    if (!array || !IsElementOfType(array, L"ReferenceArrayType")) return std::nullopt;
  }
  const auto categoryElement = As<IXMLDOMElement>(parent->selectSingleNode(L"Category"));
  if (!categoryElement) return std::nullopt;
  return InstanceName{categoryElement->get_text(), std::move(id)};
}

ComPtr<IXMLDOMElement> FindInstanceElement(const ComPtr<IXMLDOMElement>& root,
                                           const wchar_t* instanceId, const wchar_t* category) {
  ComPtr<IXMLDOMElement> element;
  if (instanceId == nullptr || !root) return element;
  Guarded([&] { element = InstanceWithId(root, category, instanceId); });
  return element;
}

ComPtr<IXMLDOMElement> FindReferencedInstance(const ComPtr<IXMLDOMElement>& root,
                                              const InstanceName& name) {
  if (!IsNCName(name.category)) return nullptr;
  return FindInstanceElement(root, name.id.c_str(), name.category.c_str());
}

ComPtr<IXMLDOMElement> TargetOf(const ComPtr<IXMLDOMElement>& reference) {
  ComPtr<IXMLDOMElement> target;
  Guarded([&] {
    const auto id = As<IXMLDOMElement>(reference->selectSingleNode(L"InstanceId"));
    const auto category = As<IXMLDOMElement>(reference->selectSingleNode(L"Category"));
    if (!id || !category) return;
    target = FindReferencedInstance(reference->get_ownerDocument()->get_documentElement(),
                                    {category->get_text(), id->get_text()});
  });
  return target;
}

namespace {

// An instance that the walk is in: its `InstanceId` elements, and the next one to visit.
struct WalkLevel {
  ComPtr<IXMLDOMNodeList> ids;
  long length = 0;
  long next = 0;
};

// Starts the walk of an instance.
void Enter(const ComPtr<IXMLDOMElement>& root, const wchar_t* instanceId, const wchar_t* category,
           std::vector<WalkLevel>& levels) {
  Guarded([&] {
    WalkLevel level{IdsInInstance(root, category, instanceId)};
    level.length = level.ids->get_length();
    levels.push_back(std::move(level));
  });
}

// Enters the instance's next reference that is new to the closure, and returns it; nothing if there
// is none.
std::optional<InstanceName> NextNewReference(WalkLevel& level, ReferenceClosure& closure) {
  std::optional<InstanceName> found;
  Guarded([&] {
    while (!found && level.next < level.length) {
      found = ReadReference(level.ids->get_item(level.next++));
      if (found && !closure.EnterOnce(*found)) found.reset();
    }
  });
  return found;
}

}  // namespace

void CollectReferences(const ComPtr<IXMLDOMElement>& root, const wchar_t* instanceId,
                       const wchar_t* category, ReferenceClosure& closure) {
  std::vector<WalkLevel> levels;
  Enter(root, instanceId, category, levels);
  while (!levels.empty()) {
    if (const std::optional<InstanceName> found = NextNewReference(levels.back(), closure)) {
      if (IsNCName(found->category))
        Enter(root, found->id.c_str(), found->category.c_str(), levels);
    } else {
      levels.pop_back();
    }
  }
}

void RemoveClosureInstances(const ComPtr<IXMLDOMElement>& context, const ReferenceClosure& closure,
                            const ComPtr<IXMLDOMElement>& spared) {
  if (!context) return;
  Guarded([&] {
    for (const auto& [category, names] : closure.ByCategory()) {
      for (const InstanceName* name : names) {
        const ComPtr<IXMLDOMElement> element = FindReferencedInstance(context, *name);
        if (element && !(element == spared)) element->get_parentNode()->removeChild(element);
      }
    }
  });
}

ComPtr<IXMLDOMNode> ReceivingElement(const ComPtr<IXMLDOMElement>& root,
                                     const std::wstring& category) {
  const ComPtr<IXMLDOMElement> first = FirstInstance(root, category);
  if (first) return first->get_parentNode();
  const ComPtr<IXMLDOMElement> receiving = root->get_ownerDocument()->createElement(L"Category");
  root->appendChild(receiving);
  return receiving;
}

void CopyClosureInstances(const ComPtr<IXMLDOMElement>& target,
                          const ComPtr<IXMLDOMElement>& source, const ReferenceClosure& closure,
                          const ComPtr<IXMLDOMElement>& sparedTarget,
                          const ComPtr<IXMLDOMElement>& sparedSource) {
  if (!target || !source) return;
  Guarded([&] {
    for (const auto& [category, names] : closure.ByCategory()) {
      // A name without an instance must not keep the others from being copied.
      if (!IsNCName(category)) continue;
      const ComPtr<IXMLDOMNode> receiving = ReceivingElement(target, category);
      for (const InstanceName* name : names) {
        const ComPtr<IXMLDOMElement> original = FindReferencedInstance(source, *name);
        if (!original || original == sparedSource) continue;
        const ComPtr<IXMLDOMElement> present = FindReferencedInstance(target, *name);
        if (present && present == sparedTarget) continue;
        const ComPtr<IXMLDOMNode> copy = original->cloneNode(true);
        if (present) {
          present->get_parentNode()->replaceChild(copy, present);
        } else {
          receiving->appendChild(copy);
        }
      }
    }
  });
}

void MergeClosureIds(const ReferenceClosure& closure, std::vector<OS::x_wstring>& ids) {
  std::unordered_set<std::wstring> present;
  for (const OS::x_wstring& id : ids) present.insert(id.str());
  for (const auto& [category, names] : closure.ByCategory()) {
    for (const InstanceName* name : names) {
      if (present.insert(name->id).second) ids.emplace_back(name->id);
    }
  }
}

}  // namespace cfgex::internal
