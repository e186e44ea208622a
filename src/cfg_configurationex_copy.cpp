// Copying: one stored instance becomes a copy of another. The ids are changed in the source's
// stand-alone document.

#include "cfgex/cfg_instance.h"
#include "src/cfg_configurationex_impl.h"
#include "src/reference_walk.h"
#include "src/regenerate_ids.h"

namespace {

// If the source reaches the target, its document has the target's old form. The copy replaces that,
// and references to the target lead to the copy.
void DropOldForm(const ComPtr<IXMLDOMElement>& source, const wchar_t* targetId) {
  const ComPtr<IXMLDOMElement> oldForm = FindInstanceElement(
      source->get_ownerDocument()->get_documentElement(), targetId, source->get_tagName().c_str());
  if (oldForm && !(oldForm == source)) oldForm->get_parentNode()->removeChild(oldForm);
}

}  // namespace

bool CCfgConfigurationEx::CImpl::CopyConfiguration(const wchar_t* sourceId, const wchar_t* targetId,
                                                   bool deep, IdList* changedIds,
                                                   IdList* reservedIds) {
  if (sourceId == nullptr || targetId == nullptr) return false;
  const Guard<CSLock> guard(m_ConfigLock);
  OS::x_wstring sourceXml;
  OS::x_wstring targetXml;
  if (!GetConfiguration(sourceId, sourceXml) || !GetConfiguration(targetId, targetXml))
    return false;
  CCfgInstance source(sourceXml, m_Option);
  const CCfgInstance target(targetXml, m_Option);
  const OS::x_wstring category = source.GetCategory();
  if (category.empty() || !(category == target.GetCategory())) return false;
  if (reservedIds != nullptr) return false;

  // The source keeps its id until all others are changed: references back to it are found by it.
  const auto element = As<IXMLDOMElement>(source.GetRawInterface());
  if (deep) {
    const ComPtr<IXMLDOMElement> storedRoot = m_pDocument->get_documentElement();
    RegenerateReferenceIds(
        element->get_ownerDocument()->get_documentElement(), sourceId, category, targetId,
        [&](const std::wstring& id) {
          return static_cast<bool>(FindInstanceElement(storedRoot, id.c_str(), L"*"));
        },
        m_Option);
  } else {
    DropOldForm(element, targetId);
  }
  if (!source.SetInstanceId(targetId)) return false;
  OS::x_wstring text;
  if (!source.GetXml(text)) return false;

  const bool sameInstance = OS::x_wstring(sourceId) == targetId;
  const auto replaceTarget = [&] {
    const Survivor survivor{sameInstance ? nullptr : sourceId, deep};
    return RemoveInstance(targetXml, survivor, nullptr, false) &&
           SetConfiguration(text, changedIds, nullptr, false);
  };
  return WholeOrDropped([&] {
    const bool copied = deep ? Succeeds(replaceTarget) : replaceTarget();
    if (!copied) return false;
    Save();
    std::wstring reason;
    return ValidateDocument(m_pDocument, reason);
  });
}
