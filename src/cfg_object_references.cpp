// Embedded objects, which are read as views and written as copies, and references, whose targets
// travel with them from document to document.

#include "src/cfg_object_impl.h"
#include "src/reference_walk.h"

namespace {

using Element = ComPtr<IXMLDOMElement>;

Element RootOf(const Element& element) {
  return element->get_ownerDocument()->get_documentElement();
}

Element ElementOf(const CCfgObject& object) { return As<IXMLDOMElement>(object.GetRawInterface()); }

Element Child(const Element& element, const wchar_t* name) {
  return element ? As<IXMLDOMElement>(element->selectSingleNode(name)) : nullptr;
}

void Replace(const Element& element, const ComPtr<IXMLDOMNode>& replacement) {
  element->get_parentNode()->replaceChild(replacement, element);
}

// The instance that an element belongs to: its ancestor, or itself, under a child of the document's
// root. None in a fragment.
Element HolderOf(const Element& element) {
  const Element root = RootOf(element);
  Element holder = element;
  for (;;) {
    const auto parent = As<IXMLDOMElement>(holder->get_parentNode());
    if (!parent) return nullptr;
    if (As<IXMLDOMElement>(parent->get_parentNode()) == root) return holder;
    holder = parent;
  }
}

}  // namespace

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgObject& value) {
  return Succeeds([&] {
    const Element element = SelectField(name, FieldType::kEmbeddedObject, m_bCheckTypes);
    const Element source = ElementOf(value);
    if (!source || !element) return false;
    Replace(element, source->cloneNode(true));
    return true;
  });
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgObject& value) const {
  return Succeeds([&] {
    const Element element = SelectField(name);
    if (m_bCheckTypes && !CheckFieldType(element, FieldType::kEmbeddedObject)) return false;
    return value.Initialize(element.get(), m_bCheckTypes);
  });
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgObjectArray& value) const {
  return Succeeds([&] {
    const Element element = SelectField(name, FieldType::kEmbeddedObjectArray, m_bCheckTypes);
    if (!element) return false;
    ForEachElement(element->get_childNodes(), [&](const Element& child) {
      CCfgObject object(m_Option);
      if (object.Initialize(child.get(), m_bCheckTypes)) value.AddItem(object);
    });
    return true;
  });
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgInstance& value) const {
  return Succeeds([&] {
    const Element element = SelectField(name, FieldType::kReference, m_bCheckTypes);
    const Element target = element ? TargetOf(element) : nullptr;
    return target && value.Initialize(target.get(), m_bCheckTypes);
  });
}

bool CCfgObject::CImpl::GetValue(const wchar_t* name, CCfgInstanceArray& value) const {
  return Succeeds([&] {
    const Element element = SelectField(name, FieldType::kReferenceArray, m_bCheckTypes);
    if (!element) return false;
    ForEachElement(element->get_childNodes(), [&](const Element& item) {
      const Element target = TargetOf(item);
      if (!target) return;
      CCfgInstance instance(m_Option);
      if (instance.Initialize(target.get(), m_bCheckTypes)) value.AddItem(instance);
    });
    return true;
  });
}

namespace {

// Removes what the old target of a reference brought; the old target itself stays, also when
// references lead back to it.
void DropWhatTargetReaches(const Element& field, const std::wstring& oldId, const Element& holder) {
  const Element root = RootOf(field);
  ReferenceClosure closure;
  CollectReferences(root, oldId.c_str(), L"*", closure);
  ReferenceClosure target;
  if (const Element element = FindInstanceElement(root, oldId.c_str(), L"*"))
    target.Enter({element->get_tagName(), oldId});
  RemoveClosureInstances(field, closure.Without(target), holder);
}

// Copies what the target reaches, and the target itself if it comes from another document.
void BringWhatTargetReaches(const Element& field, const Element& target, const std::wstring& newId,
                            bool sameDocument, const Element& holder) {
  ReferenceClosure closure;
  const Element sourceRoot = RootOf(target);
  if (!sameDocument) closure.Enter({target->get_tagName(), newId});
  CollectReferences(sourceRoot, newId.c_str(), L"*", closure);
  CopyClosureInstances(RootOf(field), sourceRoot, closure, holder);
}

}  // namespace

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgInstance& value) {
  return Succeeds([&] {
    const Element target = ElementOf(value);
    if (!target) return false;
    const Element targetId = Child(target, L"InstanceId");
    const Element field = SelectField(name);
    const Element fieldId = Child(field, L"InstanceId");
    const Element fieldCategory = Child(field, L"Category");
    if (!targetId || !fieldId) return false;

    const std::wstring newId = targetId->get_text();
    const std::wstring oldId = fieldId->get_text();
    const std::wstring category = target->get_tagName();
    const bool sameDocument = field->get_ownerDocument() == target->get_ownerDocument();
    if (newId != oldId || !sameDocument) {
      const Element holder = HolderOf(field);
      if (!sameDocument) DropWhatTargetReaches(field, oldId, holder);
      BringWhatTargetReaches(field, target, newId, sameDocument, holder);
    }
    if (newId != oldId) {
      fieldId->put_text(newId);
      if (fieldCategory) fieldCategory->put_text(category);
    }
    return true;
  });
}

namespace {

// Whether the items name the ids of the instances, in this order. An item that cannot be compared
// counts as equal.
bool NamesSameIds(const ComPtr<IXMLDOMNodeList>& items, const CCfgInstanceArray& value,
                  const CCfgOption& option) {
  if (static_cast<std::size_t>(items->get_length()) != value.GetItemCount()) return false;
  for (std::size_t index = 0; index < value.GetItemCount(); ++index) {
    CCfgInstance instance(option);
    value.GetItem(index, instance);
    const Element id =
        Child(As<IXMLDOMElement>(items->get_item(static_cast<long>(index))), L"InstanceId");
    if (id && id->get_text() != instance.GetInstanceId().str()) return false;
  }
  return true;
}

Element MakeItem(const ComPtr<IXMLDOMDocument2>& document, const CCfgInstance& instance) {
  Element item = document->createElement(L"Item");
  const Element category = document->createElement(L"Category");
  category->put_text(instance.GetCategory().str());
  item->appendChild(category);
  const Element id = document->createElement(L"InstanceId");
  id->put_text(instance.GetInstanceId().str());
  item->appendChild(id);
  return item;
}

// Brings the targets of an array, one after the other, into the document of the field.
//
// A target brings all that the array has reached so far, as its own document has it. So if several
// documents have an instance, the form in the last one stays. If a target is from the same document
// as the one before, only what it adds is copied.
class TargetBringer {
 public:
  TargetBringer(const Element& root, const Element& holder) : m_Root(root), m_Holder(holder) {}

  void Bring(const Element& target, const InstanceName& name) {
    const Element sourceRoot = RootOf(target);
    const std::size_t before = m_Closure.Size();
    m_Closure.Enter(name);
    CollectReferences(sourceRoot, name.id.c_str(), L"*", m_Closure);
    ReferenceClosure news = m_Closure.Since(before);
    if (!(sourceRoot == m_LastSourceRoot)) {
      if (before > 0) CopyClosureInstances(m_Root, sourceRoot, HeldBy(sourceRoot), m_Holder);
      m_LastSourceRoot = sourceRoot;
    }
    CopyClosureInstances(m_Root, sourceRoot, news, m_Holder);
  }

 private:
  // The part of the closure that a document holds, found in time that grows with the document.
  ReferenceClosure HeldBy(const Element& sourceRoot) const {
    ReferenceClosure held;
    const auto instances = sourceRoot->selectNodes(L"/Configuration/Category/*");
    ForEachElement(instances, [&](const Element& instance) {
      const Element id = Child(instance, L"InstanceId");
      if (!id) return;
      const InstanceName name{instance->get_tagName(), id->get_text()};
      if (m_Closure.Holds(name)) held.EnterOnce(name);
    });
    return held;
  }

  const Element m_Root;
  const Element m_Holder;
  ReferenceClosure m_Closure;
  Element m_LastSourceRoot;
};

}  // namespace

bool CCfgObject::CImpl::SetValue(const wchar_t* name, const CCfgInstanceArray& value) {
  return Succeeds([&] {
    const Element field = SelectField(name);
    if (!field || NamesSameIds(field->selectNodes(L"Item"), value, m_Option)) return false;

    const ComPtr<IXMLDOMDocument2> document = m_pRoot->get_ownerDocument();
    const Element replacement = document->createElement(field->get_tagName());
    TargetBringer bringer(RootOf(field), HolderOf(field));
    for (std::size_t index = 0; index < value.GetItemCount(); ++index) {
      CCfgInstance instance(m_Option);
      value.GetItem(index, instance);
      replacement->appendChild(MakeItem(document, instance));
      if (const Element target = ElementOf(instance))
        bringer.Bring(target, {instance.GetCategory().str(), instance.GetInstanceId().str()});
    }
    Replace(field, replacement);
    return true;
  });
}
