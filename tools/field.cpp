#include "tools/field.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <map>
#include <optional>

#include "platform/os/encoding.h"

namespace cfgexctl {

// --- Paths

namespace {

struct Step {
  std::wstring name;
  std::vector<std::size_t> numbers;
};

[[noreturn]] void StopNoPath(const std::wstring& path) {
  throw Stop(kUsage, L"no field path: " + Quoted(path) + L"; write Name, Part.Label or Texts[2]");
}

Step ParseStep(const std::wstring& text, const std::wstring& path) {
  Step step;
  std::size_t at = std::min(text.find(L'['), text.size());
  step.name = text.substr(0, at);
  if (!IsNCName(step.name)) StopNoPath(path);
  while (at < text.size()) {
    const std::size_t end = text.find(L']', at);
    if (text[at] != L'[' || end == std::wstring::npos) StopNoPath(path);
    const std::string digits = Narrow(text.substr(at + 1, end - at - 1));
    std::size_t number = 0;
    const char* last = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), last, number);
    if (error != std::errc() || stop != last || number == 0) StopNoPath(path);
    step.numbers.push_back(number);
    at = end + 1;
  }
  return step;
}

std::vector<Step> ParsePath(const std::wstring& path) {
  const wchar_t separator = path.find(L'/') != std::wstring::npos ? L'/' : L'.';
  std::vector<Step> steps;
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find(separator, begin), path.size());
    steps.push_back(ParseStep(path.substr(begin, end - begin), path));
    begin = end + 1;
  }
  return steps;
}

std::vector<Element> Named(const std::vector<Element>& elements, const std::wstring& name) {
  std::vector<Element> result;
  std::copy_if(elements.begin(), elements.end(), std::back_inserter(result),
               [&](const Element& element) { return element->get_tagName() == name; });
  return result;
}

std::wstring NamesOf(const std::vector<Element>& elements) {
  std::vector<std::wstring> names;
  for (const Element& element : elements) {
    const std::wstring name = element->get_tagName();
    if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
  }
  constexpr std::size_t kMost = 30;
  std::wstring text;
  for (std::size_t index = 0; index < names.size() && index < kMost; ++index)
    text += (index == 0 ? L"" : L", ") + names[index];
  return names.size() > kMost ? text + L"..." : text;
}

std::wstring Index(std::size_t number) { return L"[" + std::to_wstring(number) + L"]"; }

// Goes from an element to the one that a step names; the XPath grows with it. None if there is
// none.
Element Follow(const Element& from, const Step& step, std::wstring& xpath) {
  const std::vector<Element> named = Named(ChildElements(from), step.name);
  if (named.empty()) return nullptr;
  if (!xpath.empty()) xpath += L'/';
  xpath += step.name;
  Element element = named.front();
  auto number = step.numbers.begin();
  // The first number picks among siblings, unless the only one is a list itself.
  if (number != step.numbers.end() && !IsListType(TypeOf(element)) &&
      (named.size() > 1 || *number == 1)) {
    if (*number > named.size()) return nullptr;
    element = named[*number - 1];
    xpath += Index(*number++);
  }
  for (; number != step.numbers.end(); ++number) {
    const std::vector<Element> members = ChildElements(element);
    if (*number > members.size()) return nullptr;
    element = members[*number - 1];
    xpath += L"/*" + Index(*number);
  }
  return element;
}

}  // namespace

Field FindField(const Element& instance, const std::wstring& path) {
  Field field{instance, path, {}};
  for (const Step& step : ParsePath(path)) {
    const Element next = Follow(field.element, step, field.xpath);
    if (!next) {
      const std::vector<Element> there = ChildElements(field.element);
      const bool named = !Named(there, step.name).empty();
      throw Stop(kMissing,
                 NameOf(instance) + L" has no field " + OnOneLine(path) +
                     (named ? L": the list is shorter"
                            : L"; there " + std::wstring(there.size() == 1 ? L"is " : L"are ") +
                                  (there.empty() ? L"none" : NamesOf(there))));
    }
    field.element = next;
  }
  return field;
}

// --- Values

// "nonNegativeInteger" is one step from "integer", but also a type of its own.
FieldType TypeOf(const Element& element) {
  if (CheckFieldType(element, FieldType::kNonNegativeInteger))
    return FieldType::kNonNegativeInteger;
  for (int number = 0; number < static_cast<int>(FieldType::kUnknown); ++number) {
    const auto type = static_cast<FieldType>(number);
    if (CheckFieldType(element, type)) return type;
  }
  return FieldType::kUnknown;
}

bool IsListType(FieldType type) {
  switch (type) {
    case FieldType::kStringArray:
    case FieldType::kIntegerArray:
    case FieldType::kUnsignedIntegerArray:
    case FieldType::kBooleanArray:
    case FieldType::kDateTimeArray:
    case FieldType::kReferenceArray:
    case FieldType::kEmbeddedObjectArray:
      return true;
    default:
      return false;
  }
}

namespace {

std::optional<long long> WholeNumber(const std::wstring& text) {
  std::string digits = Narrow(text);
  constexpr const char* kBlanks = " \t\r\n";
  digits.erase(0, std::min(digits.find_first_not_of(kBlanks), digits.size()));
  digits.erase(digits.find_last_not_of(kBlanks) + 1);
  if (digits.starts_with('+')) digits.erase(0, 1);
  long long number = 0;
  const char* last = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), last, number);
  if (error != std::errc() || stop != last) return std::nullopt;
  return number;
}

std::optional<bool> TruthValue(const std::wstring& text) {
  if (text == L"true" || text == L"1") return true;
  if (text == L"false" || text == L"0") return false;
  return std::nullopt;
}

// A reference's two parts; nothing if one is missing.
std::optional<InstanceName> PartsOf(const Element& reference) {
  const Element category = ChildElement(reference, L"Category");
  const Element id = ChildElement(reference, L"InstanceId");
  if (!category || !id) return std::nullopt;
  return InstanceName{category->get_text(), id->get_text()};
}

bool IsReferenceItem(const Element& element) {
  const auto list = As<IXMLDOMElement>(element->get_parentNode());
  return list && element->get_tagName() == L"Item" &&
         CheckFieldType(list, FieldType::kReferenceArray);
}

Json ReferenceValue(const Element& element) {
  const auto parts = PartsOf(element);
  if (!parts || parts->id.empty()) return nullptr;
  return JsonName(parts->category, parts->id);
}

Json ScalarValue(FieldType type, const std::wstring& text) {
  if (type == FieldType::kInteger || type == FieldType::kNonNegativeInteger) {
    if (const auto number = WholeNumber(text)) return *number;
  }
  if (type == FieldType::kBoolean) {
    if (const auto truth = TruthValue(text)) return *truth;
  }
  return Narrow(text);
}

}  // namespace

Json ValueOf(const Element& element) {
  const FieldType type = TypeOf(element);
  const std::vector<Element> children = ChildElements(element);
  if (type == FieldType::kReference || IsReferenceItem(element)) return ReferenceValue(element);
  if (IsListType(type)) {
    Json list = Json::array();
    for (const Element& child : children) list.push_back(ValueOf(child));
    return list;
  }
  if (children.empty() && type != FieldType::kEmbeddedObject)
    return ScalarValue(type, element->get_text());
  std::map<std::string, std::vector<Json>> values;
  std::vector<std::string> order;
  for (const Element& child : children) {
    const std::string name = Narrow(child->get_tagName());
    std::vector<Json>& place = values[name];
    if (place.empty()) order.push_back(name);
    place.push_back(ValueOf(child));
  }
  Json object = Json::object();
  for (const std::string& name : order) {
    std::vector<Json>& place = values[name];
    // No look-up: the object keeps its order at the cost of slow ones.
    object.get_ref<Json::object_t&>().emplace_back(
        name, place.size() == 1 ? std::move(place.front()) : Json(std::move(place)));
  }
  return object;
}

std::wstring TextOf(const Element& element) {
  if (CheckFieldType(element, FieldType::kReference) || IsReferenceItem(element)) {
    const auto parts = PartsOf(element);
    return !parts || parts->id.empty() ? std::wstring() : parts->category + L":" + parts->id;
  }
  const Json value = ValueOf(element);
  if (!value.is_structured()) return element->get_text();
  return FromUtf8(value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void PrintFields(const Element& element, std::size_t indent, Report& report) {
  const std::wstring space(indent, L' ');
  for (const Element& child : ChildElements(element)) {
    const FieldType type = TypeOf(child);
    std::wstring name = space + child->get_tagName();
    const bool reference = type == FieldType::kReference || IsReferenceItem(child);
    const bool nested = !ChildElements(child).empty() && !reference;
    if (!nested) {
      const std::wstring text = OnOneLine(TextOf(child));
      name.append(text.empty() ? L":" : L": ").append(text);
      report.Line(name);
      continue;
    }
    report.Line(name + L":");
    PrintFields(child, indent + 2, report);
  }
}

// --- Writing

namespace {

Json ParseList(const Field& field, const std::wstring& value) {
  Json list = Json::parse(Narrow(value), nullptr, false);
  if (!list.is_array())
    throw Stop(kUsage, OnOneLine(field.path) + L" is a list: give it as JSON, [\"one\", \"two\"]");
  return list;
}

[[noreturn]] void StopNoValue(const Field& field, const Json& item, std::wstring_view wanted) {
  throw Stop(kUsage,
             OnOneLine(field.path) + L": " + Wide(item.dump()) + L" is no " + std::wstring(wanted));
}

template <class Array, class Convert>
bool SetList(CCfgInstance& instance, const Field& field, const std::wstring& value,
             Convert&& convert) {
  Array array;
  for (const Json& item : ParseList(field, value)) {
    try {
      array.AddItem(convert(item));
    } catch (const std::out_of_range&) {
      StopNoValue(field, item, L"whole number of 32 bits");
    }
  }
  return instance.SetFieldValue(field.xpath.c_str(), array);
}

// The target's name, complete: a name without a category is looked up.
InstanceName TargetNamed(const Field& field, const std::wstring& name, const LoadedFile& file) {
  const Element target = file.TryFind(name);
  if (!target)
    throw Stop(kMissing,
               OnOneLine(field.path) + L": there is no instance " + Quoted(name) + L" to refer to");
  return {target->get_tagName(), IdOf(target)};
}

bool SetText(CCfgInstance& instance, const std::wstring& xpath, const std::wstring& text) {
  if (instance.SetFieldValue(xpath.c_str(), text.c_str())) return true;
  // A type that the interface has no overload for: the text as it is given.
  try {
    const auto root = As<IXMLDOMElement>(instance.GetRawInterface());
    root->selectSingleNode(xpath)->put_text(text);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

// Only the names of the target are written. Handing over the target itself would take what the
// old target refers to out of the instance's document.
bool SetReference(CCfgInstance& instance, const Field& field, const std::wstring& value,
                  const LoadedFile& file) {
  const std::wstring idPath = field.xpath + L"/InstanceId";
  if (value.empty()) return SetText(instance, idPath, L"");
  const InstanceName target = TargetNamed(field, value, file);
  return SetText(instance, field.xpath + L"/Category", target.category) &&
         SetText(instance, idPath, target.id);
}

bool SetReferences(CCfgInstance& instance, const Field& field, const std::wstring& value,
                   const LoadedFile& file, CCfgConfigurationEx& store) {
  CCfgInstanceArray array;
  std::vector<std::wstring> wanted;
  for (const Json& item : ParseList(field, value)) {
    if (!item.is_string()) StopNoValue(field, item, L"text");
    const InstanceName target = TargetNamed(field, Wide(item.get<std::string>()), file);
    OS::x_wstring xml;
    if (!store.GetConfiguration(target.id.c_str(), target.category.c_str(), xml))
      throw Stop(kInvalid, Quoted(target.id) + L" cannot be read from the store");
    array.AddItem(CCfgInstance(xml, file.Option()));
    wanted.push_back(target.category + L":" + target.id);
  }
  // The library refuses to write what is there already.
  std::vector<std::wstring> there;
  for (const Element& item : ChildElements(field.element)) there.push_back(TextOf(item));
  return there == wanted || instance.SetFieldValue(field.xpath.c_str(), array);
}

// A whole number of more than 32 bits may be valid, but no application could read it.
bool SetNumber(CCfgInstance& instance, const Field& field, const std::wstring& value,
               bool isSigned) {
  const auto number = WholeNumber(value);
  if (!number) return SetText(instance, field.xpath, value);
  const wchar_t* xpath = field.xpath.c_str();
  const bool set = isSigned ? instance.SetFieldValue(xpath, static_cast<long>(*number))
                   : *number >= 0
                       ? instance.SetFieldValue(xpath, static_cast<unsigned long>(*number))
                       : SetText(instance, field.xpath, value);
  if (!set)
    throw Stop(kInvalid, OnOneLine(field.path) + L": " + OnOneLine(value) +
                             L" is beyond the 32 bits that applications read");
  return true;
}

}  // namespace

void SetField(CCfgInstance& instance, const Field& field, const std::wstring& value,
              const LoadedFile& file, CCfgConfigurationEx& store) {
  const auto text = [&field](const Json& item) {
    if (!item.is_string()) StopNoValue(field, item, L"text");
    return OS::x_wstring(Wide(item.get<std::string>()));
  };
  const auto whole = [&field](const Json& item) {
    if (!item.is_number_integer() ||
        (item.is_number_unsigned() && item.get<std::uint64_t>() > INT64_MAX))
      StopNoValue(field, item, L"whole number of 32 bits");
    return item.get<long>();
  };
  const auto natural = [&field](const Json& item) {
    if (!item.is_number_unsigned()) StopNoValue(field, item, L"whole number from 0");
    return item.get<unsigned long>();
  };
  const auto truth = [&field](const Json& item) {
    if (!item.is_boolean()) StopNoValue(field, item, L"truth value");
    return item.get<bool>();
  };
  const FieldType type = TypeOf(field.element);
  bool set = false;
  if (type == FieldType::kReference || IsReferenceItem(field.element)) {
    set = SetReference(instance, field, value, file);
  } else if (type == FieldType::kReferenceArray) {
    set = SetReferences(instance, field, value, file, store);
  } else if (type == FieldType::kStringArray) {
    set = SetList<CCfgStringArray>(instance, field, value, text);
  } else if (type == FieldType::kIntegerArray) {
    set = SetList<CCfgIntegerArray>(instance, field, value, whole);
  } else if (type == FieldType::kUnsignedIntegerArray) {
    set = SetList<CCfgUnsignedIntegerArray>(instance, field, value, natural);
  } else if (type == FieldType::kBooleanArray) {
    set = SetList<CCfgBooleanArray>(instance, field, value, truth);
  } else if (type == FieldType::kEmbeddedObject || IsListType(type) ||
             !ChildElements(field.element).empty()) {
    throw Stop(kUsage, OnOneLine(field.path) + L" is not a single value: set the fields in it");
  } else if (type == FieldType::kInteger || type == FieldType::kNonNegativeInteger) {
    set = SetNumber(instance, field, value, type == FieldType::kInteger);
  } else if (const auto given = TruthValue(value); type == FieldType::kBoolean && given) {
    set = instance.SetFieldValue(field.xpath.c_str(), *given);
  } else {
    set = SetText(instance, field.xpath, value);
  }
  if (!set)
    throw Stop(kInvalid, OnOneLine(field.path) + L" does not accept the value " + Quoted(value));
}

}  // namespace cfgexctl
