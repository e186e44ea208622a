// Names with an optional prefix, as the interfaces take them.
#pragma once

#include <string>
#include <string_view>

namespace cfgex::internal {

struct PrefixedName {
  std::string prefix;  // "" for none
  std::string local;
};

// Splits "prefix:local" or "local" and converts it. Raises for what is no such name.
PrefixedName SplitName(std::wstring_view name);

}  // namespace cfgex::internal
