// Writing: one instance, given as a stand-alone document, enters the store with all it reaches.

#include "src/cfg_configurationex_impl.h"
#include "src/reference_walk.h"

bool CCfgConfigurationEx::CImpl::SetConfiguration(const wchar_t* xml, IdList* changedIds,
                                                  IdList* /*reservedIds*/, bool save) {
  if (xml == nullptr) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  bool result = false;
  Guarded([&] {
    const IncomingInstance incoming = ReadIncomingInstance(xml, m_Option);
    if (!incoming.element) return;

    const ComPtr<IXMLDOMElement> storedElement =
        FindInstanceElement(m_pDocument->get_documentElement(), incoming.id->c_str(), L"*");
    WholeOrDropped([&] {
      if (storedElement) {
        ReplaceInstance(storedElement, incoming, changedIds);
      } else {
        InsertInstance(incoming, changedIds);
      }

      if (!Commit()) return;
      // The change is in memory, and valid, even if saving it fails.
      result = true;
      if (save) Save();
    });
  });
  return result;
}

// References may lead back to the instance itself. It is replaced once, in its place: both steps on
// closures spare its stored form, and its incoming form is not copied.
void CCfgConfigurationEx::CImpl::ReplaceInstance(const ComPtr<IXMLDOMElement>& storedElement,
                                                 const IncomingInstance& incoming,
                                                 IdList* changedIds) {
  const ComPtr<IXMLDOMElement> storedRoot = m_pDocument->get_documentElement();
  const ComPtr<IXMLDOMElement> incomingRoot = incoming.document->get_documentElement();
  const std::wstring& id = *incoming.id;
  const std::wstring category = storedElement->get_tagName();

  ReferenceClosure oldClosure;
  CollectReferences(storedRoot, id.c_str(), category.c_str(), oldClosure);
  RemoveClosureInstances(storedElement, oldClosure, storedElement);
  ReferenceClosure newClosure;
  CollectReferences(incomingRoot, id.c_str(), category.c_str(), newClosure);
  CopyClosureInstances(storedRoot, incomingRoot, newClosure, storedElement, incoming.element);
  storedElement->get_parentNode()->replaceChild(incoming.element, storedElement);

  if (changedIds == nullptr) return;
  changedIds->emplace_back(id);
  MergeClosureIds(oldClosure, *changedIds);
  MergeClosureIds(newClosure, *changedIds);
}

// As above, the incoming form is inserted once, after what it reaches.
void CCfgConfigurationEx::CImpl::InsertInstance(const IncomingInstance& incoming,
                                                IdList* changedIds) {
  const ComPtr<IXMLDOMElement> storedRoot = m_pDocument->get_documentElement();
  const ComPtr<IXMLDOMElement> incomingRoot = incoming.document->get_documentElement();
  const std::wstring& id = *incoming.id;

  ReferenceClosure closure;
  CollectReferences(incomingRoot, id.c_str(), L"*", closure);
  CopyClosureInstances(storedRoot, incomingRoot, closure, nullptr, incoming.element);
  ReceivingElement(storedRoot, incoming.element->get_tagName())->appendChild(incoming.element);

  if (changedIds == nullptr) return;
  changedIds->emplace_back(id);
  MergeClosureIds(closure, *changedIds);
}
