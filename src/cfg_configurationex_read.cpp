// Reading: one instance leaves the store as a stand-alone document.

#include <utility>

#include "src/cfg_configurationex_impl.h"
#include "src/reference_walk.h"

namespace {

// Appends a `Category` element per category of the closure, with copies of the instances that the
// store holds and the result does not hold yet.
void AppendReferencedInstances(const ComPtr<IXMLDOMElement>& resultRoot,
                               const ComPtr<IXMLDOMElement>& storeRoot,
                               const ReferenceClosure& closure) {
  if (!resultRoot || !storeRoot) return;
  Guarded([&] {
    const ComPtr<IXMLDOMDocument2> result = resultRoot->get_ownerDocument();
    for (const auto& [category, names] : closure.ByCategory()) {
      const ComPtr<IXMLDOMElement> group = result->createElement(L"Category");
      bool filled = false;
      for (const InstanceName* name : names) {
        // References may lead back to the requested instance, which is in the result only once.
        if (FindReferencedInstance(resultRoot, *name)) continue;
        const ComPtr<IXMLDOMElement> stored = FindReferencedInstance(storeRoot, *name);
        if (!stored) continue;
        group->appendChild(stored->cloneNode(true));
        filled = true;
      }
      if (filled) resultRoot->appendChild(group);
    }
  });
}

}  // namespace

bool CCfgConfigurationEx::CImpl::GetConfiguration(const wchar_t* instanceId,
                                                  const wchar_t* category, OS::x_wstring& xml) {
  if (instanceId == nullptr || category == nullptr || !m_bLoaded) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  bool result = false;
  Guarded([&] {
    const ComPtr<IXMLDOMElement> source =
        FindInstanceElement(m_pDocument->get_documentElement(), instanceId, category);
    if (source) result = ExportInstance(source, instanceId, xml);
  });
  return result;
}

bool CCfgConfigurationEx::CImpl::GetConfiguration(const wchar_t* instanceId, OS::x_wstring& xml) {
  return GetConfiguration(instanceId, L"*", xml);
}

bool CCfgConfigurationEx::CImpl::ExportInstance(const ComPtr<IXMLDOMElement>& source,
                                                const wchar_t* instanceId, OS::x_wstring& xml) {
  const ComPtr<IXMLDOMElement> resultRoot = CreateHeaderDocument(instanceId, m_Option);
  if (!resultRoot) return false;
  const ComPtr<IXMLDOMElement> group = m_pDocument->createElement(L"Category");
  const ComPtr<IXMLDOMNode> copy = source->cloneNode(true);
  group->appendChild(copy);
  resultRoot->appendChild(group);

  const ComPtr<IXMLDOMElement> storeRoot = m_pDocument->get_documentElement();
  ReferenceClosure closure;
  CollectReferences(storeRoot, instanceId, source->get_tagName().c_str(), closure);
  AppendReferencedInstances(resultRoot, storeRoot, closure);

  OS::x_wstring text(resultRoot->get_xml());
  std::wstring reason;
  const bool isValid = ParseInstanceDocument(text, m_Option, reason);
  xml = isValid ? std::move(text) : OS::x_wstring();
  return isValid;
}
