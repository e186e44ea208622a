#include "tools/difference.h"

namespace cfgexctl {

Content ContentOf(const LoadedFile& file) {
  Content content;
  file.ForEachInstance([&](const Element& instance) {
    content[{instance->get_tagName(), IdOf(instance)}] += instance->get_xml();
  });
  return content;
}

Difference Compare(const Content& from, const Content& to) {
  Difference difference;
  for (const auto& [name, text] : from) {
    const auto other = to.find(name);
    if (other == to.end()) {
      difference.removed.push_back(name);
    } else if (other->second != text) {
      difference.changed.push_back(name);
    }
  }
  for (const auto& [name, text] : to) {
    if (!from.contains(name)) difference.added.push_back(name);
  }
  return difference;
}

std::wstring Summary(const Difference& difference) {
  std::wstring text;
  const auto add = [&text](std::size_t count, const wchar_t* what) {
    if (count == 0) return;
    if (!text.empty()) text += L", ";
    text += std::to_wstring(count) + L" " + what;
  };
  add(difference.added.size(), L"added");
  add(difference.removed.size(), L"removed");
  add(difference.changed.size(), L"changed");
  return text.empty() ? L"the same" : text;
}

void PrintNames(const Difference& difference, std::wstring_view indent, Report& report) {
  const auto print = [&](const std::vector<InstanceName>& names, wchar_t sign) {
    for (const auto& [category, id] : names)
      report.Line(std::wstring(indent) + sign + L" " + OnOneLine(category) + L" " + Quoted(id));
  };
  print(difference.added, L'+');
  print(difference.removed, L'-');
  print(difference.changed, L'~');
}

Json AsJson(const Difference& difference) {
  const auto list = [](const std::vector<InstanceName>& names) {
    Json json = Json::array();
    for (const auto& [category, id] : names) json.push_back(JsonName(category, id));
    return json;
  };
  return {{"added", list(difference.added)},
          {"removed", list(difference.removed)},
          {"changed", list(difference.changed)}};
}

}  // namespace cfgexctl
