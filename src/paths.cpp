#include "src/paths.h"

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"

namespace cfgex::internal {
namespace {

constexpr MemberNames kInstances{"Configuration", "Category", "InstanceId"};

void RequireFitting(bool fits) {
  if (!fits) throw _com_error(_com_error::kInvalidArgument, "malformed path");
}

void RequireFitting(std::wstring_view category, std::wstring_view id) {
  RequireFitting(category == L"*" || IsNCName(category));
  RequireFitting(id.find(L'\'') == id.npos && IsXmlText(id));
}

}  // namespace

ComPtr<IXMLDOMElement> FirstInstance(const ComPtr<IXMLDOMElement>& context,
                                     std::wstring_view category) {
  RequireFitting(IsNCName(category));
  return context->get_ownerDocument()->FirstMember(kInstances, category);
}

ComPtr<IXMLDOMElement> InstanceWithId(const ComPtr<IXMLDOMElement>& context,
                                      std::wstring_view category, std::wstring_view id) {
  RequireFitting(category, id);
  return context->get_ownerDocument()->MemberWithKey(kInstances, category, id);
}

ComPtr<IXMLDOMNodeList> IdsInInstance(const ComPtr<IXMLDOMElement>& context,
                                      std::wstring_view category, std::wstring_view id) {
  RequireFitting(category, id);
  return context->get_ownerDocument()->KeysInMember(kInstances, category, id);
}

}  // namespace cfgex::internal
