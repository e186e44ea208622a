// Removing: one instance leaves the store with all it reaches.

#include "src/cfg_configurationex_impl.h"
#include "src/reference_walk.h"

bool CCfgConfigurationEx::CImpl::RemoveConfiguration(const wchar_t* xml, IdList* changedIds,
                                                     bool save) {
  return RemoveInstance(xml, {}, changedIds, save);
}

// Not guarded: exceptions that its steps do not catch reach the caller.
bool CCfgConfigurationEx::CImpl::RemoveInstance(const wchar_t* xml, const Survivor& survivor,
                                                IdList* changedIds, bool save) {
  if (xml == nullptr) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  const IncomingInstance incoming = ReadIncomingInstance(xml, m_Option);
  if (!incoming.element) return false;

  const ComPtr<IXMLDOMElement> storedRoot = m_pDocument->get_documentElement();
  const std::wstring& id = *incoming.id;
  const ComPtr<IXMLDOMElement> storedElement = FindInstanceElement(storedRoot, id.c_str(), L"*");
  if (!storedElement) return false;
  const std::wstring category = storedElement->get_tagName();

  ReferenceClosure closure;
  CollectReferences(storedRoot, id.c_str(), category.c_str(), closure);
  if (survivor.id != nullptr && (survivor.always || closure.Holds({category, survivor.id}))) {
    ReferenceClosure surviving;
    surviving.Enter({category, survivor.id});
    CollectReferences(storedRoot, survivor.id, category.c_str(), surviving);
    closure = closure.Without(surviving);
  }
  return WholeOrDropped([&] {
    // References may lead back to the instance itself, which is removed once, here.
    RemoveClosureInstances(storedElement, closure, storedElement);
    storedElement->get_parentNode()->removeChild(storedElement);
    if (changedIds != nullptr) {
      changedIds->emplace_back(id);
      MergeClosureIds(closure, *changedIds);
    }

    if (!Commit()) return false;
    if (save) Save();
    return true;
  });
}
