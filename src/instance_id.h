// New ids for instances.
#pragma once

#include <functional>
#include <string>

namespace cfgex::internal {

// A GUID as text in braces, or, if the system gives none, the tick count with "%8d". The number is
// increased while `isTaken` returns true; a GUID is never taken.
std::wstring MakeInstanceId(const std::function<bool(const std::wstring&)>& isTaken =
                                [](const auto&) { return false; });

}  // namespace cfgex::internal
