// One fault or warning, in the terms of configurations: instance, field, value, rule.
#pragma once

#include <string>
#include <vector>

#include "platform/dom/fault.h"
#include "tools/frame.h"

namespace cfgexctl {

struct Finding {
  std::wstring file;
  Place place;
  std::wstring category;  // of the instance, with its id; empty outside of instances
  std::wstring id;
  std::wstring field;  // as the commands take it; empty if the instance itself is at fault
  bool has_value = false;
  std::wstring value;
  std::string rule;  // a name that stays the same
  std::wstring message;
  std::wstring advice;
  bool is_warning = false;
};

// Where an element is: its instance, and the path of its field.
struct Location {
  ComPtr<IXMLDOMElement> instance;  // none outside of instances
  std::wstring category;
  std::wstring id;
  std::wstring field;
};
Location Locate(const ComPtr<IXMLDOMElement>& element);

// The engine's fault in a file, with the instance, field and value of its element.
Finding Explain(const Fault& fault, const std::wstring& file);
std::vector<Finding> Explain(const FaultList& list, const std::wstring& file);

std::wstring AsText(const Finding& finding);  // one line
Json AsJson(const Finding& finding);
Json AsJson(const std::vector<Finding>& findings);

// --- Elements

std::vector<ComPtr<IXMLDOMElement>> ChildElements(const ComPtr<IXMLDOMElement>& element);
// The first child of that name; none if there is none.
ComPtr<IXMLDOMElement> ChildElement(const ComPtr<IXMLDOMElement>& element, std::wstring_view name);
// The text of the child InstanceId; empty if there is none.
std::wstring IdOf(const ComPtr<IXMLDOMElement>& instance);

}  // namespace cfgexctl
