#include "tools/finding.h"

#include <algorithm>

#include "platform/dom/explained_document.h"

namespace cfgexctl {

std::vector<ComPtr<IXMLDOMElement>> ChildElements(const ComPtr<IXMLDOMElement>& element) {
  std::vector<ComPtr<IXMLDOMElement>> children;
  const ComPtr<IXMLDOMNodeList> nodes = element->get_childNodes();
  const long length = nodes->get_length();
  for (long index = 0; index < length; ++index) {
    if (auto child = As<IXMLDOMElement>(nodes->get_item(index))) children.push_back(child);
  }
  return children;
}

ComPtr<IXMLDOMElement> ChildElement(const ComPtr<IXMLDOMElement>& element, std::wstring_view name) {
  const ComPtr<IXMLDOMNodeList> nodes = element->get_childNodes();
  const long length = nodes->get_length();
  for (long index = 0; index < length; ++index) {
    auto child = As<IXMLDOMElement>(nodes->get_item(index));
    if (child && child->get_tagName() == name) return child;
  }
  return nullptr;
}

std::wstring IdOf(const ComPtr<IXMLDOMElement>& instance) {
  const ComPtr<IXMLDOMElement> id = ChildElement(instance, L"InstanceId");
  return id ? id->get_text() : std::wstring();
}

namespace {

// The element's part of a field path: its name, and its number if it has siblings.
std::wstring StepOf(const ComPtr<IXMLDOMElement>& element) {
  const std::wstring name = element->get_tagName();
  const auto [number, count] = CountSiblings(element);
  std::wstring index = L"[" + std::to_wstring(number) + L"]";
  if (name == L"Item") return index;
  return count > 1 ? name + index : name;
}

}  // namespace

Location Locate(const ComPtr<IXMLDOMElement>& element) {
  Location location;
  if (!element) return location;
  // From the root: Configuration, Category, the instance, its fields.
  std::vector<ComPtr<IXMLDOMElement>> chain;
  for (ComPtr<IXMLDOMElement> step = element; step;
       step = As<IXMLDOMElement>(step->get_parentNode()))
    chain.push_back(step);
  std::reverse(chain.begin(), chain.end());
  constexpr std::size_t kInstance = 2;
  if (chain.size() <= kInstance) return location;
  location.instance = chain[kInstance];
  location.category = location.instance->get_tagName();
  location.id = IdOf(location.instance);
  for (std::size_t index = kInstance + 1; index < chain.size(); ++index) {
    const std::wstring step = StepOf(chain[index]);
    if (!location.field.empty() && step.front() != L'[') location.field += L'.';
    location.field += step;
  }
  return location;
}

namespace {

const wchar_t* AdviceFor(const std::string& rule) {
  if (rule == "encoding")
    return L"save the file as UTF-8, or let its XML declaration name the encoding that it has";
  if (rule == "truncated" || rule == "empty" || rule == "no XML")
    return L"\"cfgexctl restore\" lists the copies that are left";
  if (rule == "document type" || rule == "entity")
    return L"write the text itself in place of the entity, and remove the declaration";
  return L"";
}

}  // namespace

Finding Explain(const Fault& fault, const std::wstring& file) {
  Finding finding;
  finding.file = fault.file.empty() ? file : fault.file;
  finding.place = fault.place;
  finding.rule = fault.rule;
  finding.message = fault.message;
  finding.is_warning = fault.is_warning;
  finding.advice = AdviceFor(fault.rule);
  if (!fault.element) return finding;
  const Location location = Locate(fault.element);
  finding.category = location.category;
  finding.id = location.id;
  finding.field = location.field;
  if (!fault.attribute.empty()) {
    finding.field += L"@" + fault.attribute;
    if (const auto value = fault.element->getAttribute(fault.attribute)) {
      finding.has_value = true;
      finding.value = *value;
    }
  } else if (!fault.is_partial && !location.field.empty() && ChildElements(fault.element).empty()) {
    finding.has_value = true;
    finding.value = fault.element->get_text();
  }
  return finding;
}

std::vector<Finding> Explain(const FaultList& list, const std::wstring& file) {
  std::vector<Finding> findings;
  for (const Fault& fault : list.faults) findings.push_back(Explain(fault, file));
  return findings;
}

namespace {

// Paths can be as deep as elements nest. Their end is the useful part.
std::wstring Shortened(const std::wstring& path) {
  constexpr std::size_t kLongest = 200;
  if (path.size() <= kLongest) return OnOneLine(path);
  return L"..." + OnOneLine(std::wstring_view(path).substr(path.size() - kLongest));
}

}  // namespace

std::wstring AsText(const Finding& finding) {
  std::wstring text = OnOneLine(finding.file);
  if (finding.place.line > 0) text += L":" + std::to_wstring(finding.place.line);
  if (finding.place.column > 0) text += L":" + std::to_wstring(finding.place.column);
  if (!text.empty()) text += L": ";
  if (finding.is_warning) text += L"warning: ";
  std::wstring subject;
  if (!finding.category.empty()) {
    subject = OnOneLine(finding.category) + L" " + Quoted(finding.id);
  }
  const auto add = [&subject](const std::wstring& part) {
    if (!subject.empty()) subject += L", ";
    subject += part;
  };
  if (!finding.field.empty()) add(L"field " + Shortened(finding.field));
  if (finding.has_value) add(L"value " + Quoted(finding.value));
  if (!subject.empty()) text += subject + L": ";
  text += OnOneLine(finding.message);
  if (!finding.rule.empty()) text += L" [" + Wide(finding.rule) + L"]";
  if (!finding.advice.empty()) text += L" (" + finding.advice + L")";
  return text;
}

Json AsJson(const Finding& finding) {
  Json json = Json::object();
  json["level"] = finding.is_warning ? "warning" : "error";
  json["rule"] = finding.rule;
  json["file"] = Narrow(finding.file);
  const auto put = [&json](const char* name, const std::wstring& text) {
    if (!text.empty()) json[name] = Narrow(text);
  };
  if (finding.place.line > 0) json["line"] = finding.place.line;
  if (finding.place.column > 0) json["column"] = finding.place.column;
  put("category", finding.category);
  if (!finding.category.empty()) json["id"] = Narrow(finding.id);
  put("field", finding.field);
  if (finding.has_value) json["value"] = Narrow(finding.value);
  put("message", finding.message);
  put("advice", finding.advice);
  return json;
}

Json AsJson(const std::vector<Finding>& findings) {
  Json list = Json::array();
  for (const Finding& finding : findings) list.push_back(AsJson(finding));
  return list;
}

}  // namespace cfgexctl
