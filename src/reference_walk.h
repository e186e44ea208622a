// References between instances, and the operations on all that an instance reaches by them.
//
// An instance is addressed by its category, the tag name of its element, and its id. Instances are
// the children of the `Category` elements of a document; a reference is a small element at any
// depth of an instance, whose children `Category` and `InstanceId` name another:
//
//   * an element of the schema type "ReferenceType", or based on it, or
//   * an `Item` in an element of the type "ReferenceArrayType", or based on it.
//
// An empty `InstanceId` refers to nothing. Types are known only in a document bound to a schema.
//
// No operation reports a failure: if the platform fails, it ends with what it has done so far. None
// locks anything. None recurses along a chain of references.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cfgex/os_string.h"
#include "platform/dom/dom.h"

namespace cfgex::internal {

// What names an instance, and what a reference says.
struct InstanceName {
  std::wstring category;
  std::wstring id;

  auto operator<=>(const InstanceName&) const = default;
};

// The names that a walk has found, also those in references that lead nowhere.
class ReferenceClosure {
 public:
  ReferenceClosure() = default;
  ReferenceClosure(ReferenceClosure&&) = default;
  ReferenceClosure& operator=(ReferenceClosure&&) = default;

  // Enters a name, also one that is there already.
  void Enter(const InstanceName& name) { m_Order.push_back(&*m_Names.insert(name).first); }
  // Enters a name unless it is there; false if it was.
  bool EnterOnce(const InstanceName& name);

  bool Holds(const InstanceName& name) const { return m_Names.contains(name); }
  std::size_t Size() const { return m_Order.size(); }  // names entered
  // The names by category, in ascending order, and within one in the order of entering. They live
  // as long as the closure.
  std::map<std::wstring, std::vector<const InstanceName*>> ByCategory() const;
  // What was entered after the closure had the size `size`.
  ReferenceClosure Since(std::size_t size) const;
  // What is not in `other`.
  ReferenceClosure Without(const ReferenceClosure& other) const;

 private:
  std::set<InstanceName> m_Names;
  std::vector<const InstanceName*> m_Order;
};

// The reference that has `node` as its child `InstanceId`; nothing if `node` is not such a child.
std::optional<InstanceName> ReadReference(const ComPtr<IXMLDOMNode>& node);

// The instance that a reference names, or none. The category "*" names nothing here: it comes from
// a file, and is not an XML name.
ComPtr<IXMLDOMElement> FindReferencedInstance(const ComPtr<IXMLDOMElement>& root,
                                              const InstanceName& name);

// The same for a reference element, or an `Item`; also none if it lacks one of the children. Does
// not use the schema.
ComPtr<IXMLDOMElement> TargetOf(const ComPtr<IXMLDOMElement>& reference);

// Whether the schema says that the element is of the named type or of a type based on it directly.
bool IsElementOfType(const ComPtr<IXMLDOMElement>& element, const wchar_t* typeName);

// The instance with that id in the category, "*" for any: the first in document order, or none.
// `root` is any element of the document.
ComPtr<IXMLDOMElement> FindInstanceElement(const ComPtr<IXMLDOMElement>& root,
                                           const wchar_t* instanceId, const wchar_t* category);

// Adds to `closure` all that is reachable from the instance: depth first, each pair once. The
// instance itself is entered only if a reference leads back to it.
void CollectReferences(const ComPtr<IXMLDOMElement>& root, const wchar_t* instanceId,
                       const wchar_t* category, ReferenceClosure& closure);

// Removes the instances of the closure from the document of `context`, even if others refer to
// them. `spared` stays, and so do `Category` elements that become empty.
void RemoveClosureInstances(const ComPtr<IXMLDOMElement>& context, const ReferenceClosure& closure,
                            const ComPtr<IXMLDOMElement>& spared);

// Copies the closure's instances from the document with the root `source` into the one with the
// root `target`. A copy replaces the instance of the same name. If there is none, it goes to the
// end of the `Category` element that holds the category's first instance, or into a new one.
// `sparedTarget` is not replaced and `sparedSource` not copied: the caller replaces or moves them.
void CopyClosureInstances(const ComPtr<IXMLDOMElement>& target,
                          const ComPtr<IXMLDOMElement>& source, const ReferenceClosure& closure,
                          const ComPtr<IXMLDOMElement>& sparedTarget,
                          const ComPtr<IXMLDOMElement>& sparedSource = nullptr);

// The element that takes new instances of a category: the parent of the category's first instance,
// or a new `Category` element at the end of `root`. Raises _com_error where the platform fails.
ComPtr<IXMLDOMNode> ReceivingElement(const ComPtr<IXMLDOMElement>& root,
                                     const std::wstring& category);

// Appends the ids of the closure that are not in `ids` yet.
void MergeClosureIds(const ReferenceClosure& closure, std::vector<OS::x_wstring>& ids);

}  // namespace cfgex::internal
