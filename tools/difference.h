// What differs between two configurations, by instance.
#pragma once

#include <map>

#include "tools/loaded_file.h"

namespace cfgexctl {

// The instances of a configuration as texts; of those with the same name, each text.
using Content = std::map<InstanceName, std::wstring>;
Content ContentOf(const LoadedFile& file);

struct Difference {
  std::vector<InstanceName> added;
  std::vector<InstanceName> removed;
  std::vector<InstanceName> changed;

  bool IsNone() const { return added.empty() && removed.empty() && changed.empty(); }
};
Difference Compare(const Content& from, const Content& to);

// "2 added, 1 changed", or "the same".
std::wstring Summary(const Difference& difference);
// The names, each on a line with "+", "-" or "~" before it.
void PrintNames(const Difference& difference, std::wstring_view indent, Report& report);
Json AsJson(const Difference& difference);

}  // namespace cfgexctl
