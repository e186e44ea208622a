#include "src/paths.h"

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"

namespace cfgex::internal {
namespace {

void RequireFitting(bool fits) {
  if (!fits) throw _com_error(_com_error::kInvalidArgument, "malformed path");
}

}  // namespace

std::wstring CategoryPath(std::wstring_view category) {
  RequireFitting(category == L"*" || IsNCName(category));
  return L"/Configuration/Category/" + std::wstring(category);
}

std::wstring InstancePath(std::wstring_view category, std::wstring_view id) {
  RequireFitting(id.find(L'\'') == std::wstring_view::npos);
  return CategoryPath(category) + L"[InstanceId='" + std::wstring(id) + L"']";
}

std::wstring InstanceIdsPath(std::wstring_view category, std::wstring_view id) {
  return InstancePath(category, id) + L"//InstanceId";
}

}  // namespace cfgex::internal
