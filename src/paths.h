// The paths by which instances are found in a document.
//
// A category fills a name test, so it is an XML name, or "*" where any is meant; an id stands
// between single quotes, so it holds none. What does not fit makes no path: these functions raise
// _com_error for it, as the evaluation of a malformed path does.
#pragma once

#include <string>
#include <string_view>

namespace cfgex::internal {

// "/Configuration/Category/CATEGORY": the first instance of a category.
std::wstring CategoryPath(std::wstring_view category);

// "/Configuration/Category/CATEGORY[InstanceId='ID']": one instance.
std::wstring InstancePath(std::wstring_view category, std::wstring_view id);

// The instance's path and "//InstanceId": all ids at any depth of it, its own included.
std::wstring InstanceIdsPath(std::wstring_view category, std::wstring_view id);

}  // namespace cfgex::internal
