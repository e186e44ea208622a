#include "tools/schema_rules.h"

#include <algorithm>
#include <set>

#include "platform/schema/schema_file.h"
#include "src/field_type.h"
#include "tools/loaded_file.h"

namespace cfgexctl {

namespace {

class Rules {
 public:
  Rules(const std::wstring& path, const SchemaFiles& files)
      : m_Path(path), m_Files(files), m_File(OpenSchemaFile(path)), m_Model(m_File->model) {
    m_Option.Initialize(path.c_str());
  }

  std::vector<Finding> Run();

 private:
  void Add(const Origin& origin, bool isWarning, const char* rule, std::wstring message,
           std::wstring advice);
  void SchemaItself();
  void Root();
  void Categories();
  void Category(const ISchemaElement& category);
  void NamedTypes();
  void Fields(const ISchemaElement& category);

  const ISchemaComplexType* GlobalType(const std::wstring& name) const;
  bool Accepts(const std::wstring& text, std::wstring& why) const;

  const std::wstring& m_Path;
  const SchemaFiles& m_Files;
  ComPtr<SchemaFile> m_File;
  const SchemaModel& m_Model;
  CCfgOption m_Option;
  std::vector<Finding> m_Findings;
  std::vector<ISchemaElement*> m_Categories;
  std::set<const ISchemaType*> m_Seen;  // whose fields were looked at
};

const ISchemaComplexType* ComplexTypeOf(const ISchemaElement* element) {
  return element != nullptr && element->type != nullptr ? element->type->complex : nullptr;
}

const ISchemaElement* ChildOf(const ISchemaComplexType& type, std::wstring_view name) {
  for (const ISchemaElement* element : type.Elements()) {
    if (element->name == name) return element;
  }
  return nullptr;
}

bool IsOfType(const ISchemaType* type, std::wstring_view name) {
  return type != nullptr &&
         (type->name == name || (type->base != nullptr && type->base->name == name));
}

void Rules::Add(const Origin& origin, bool isWarning, const char* rule, std::wstring message,
                std::wstring advice) {
  Finding finding;
  finding.file = origin.file;
  finding.place = origin.place;
  finding.rule = rule;
  finding.message = std::move(message);
  finding.advice = std::move(advice);
  finding.is_warning = isWarning;
  m_Findings.push_back(std::move(finding));
}

void Rules::SchemaItself() {
  const Origin root = m_Files.Root();
  if (!m_Files.RootAttribute("targetNamespace").empty())
    Add(root, false, "namespace", L"The schema has a targetNamespace.",
        L"remove it: elements are looked up by names without a namespace");
  const std::wstring version = m_Files.RootAttribute("version");
  const auto dots = std::count(version.begin(), version.end(), L'.');
  if (version.empty()) {
    Add(root, true, "version", L"The schema has no version.",
        L"give xs:schema four numbers, version=\"1.0.0.0\"");
  } else if (dots != 3 || version.find_first_not_of(L"0123456789.") != std::wstring::npos) {
    Add(root, true, "version", L"The version " + Quoted(version) + L" is not four dotted numbers.",
        L"the last piece is never read: write four, version=\"1.0.0.0\"");
  }
  if (m_Path.find_first_of(L"&<\"") != std::wstring::npos)
    Add(root, false, "file name", L"The path of the schema holds one of & < \".",
        L"rename it: the path is written into headers as it is");
}

// Whether the schema takes a document, as the library would make one.
bool Rules::Accepts(const std::wstring& text, std::wstring& why) const {
  const ExplainedDocument document = ExplainedDocument::FromText(text);
  const auto list = document.Validate(As<IXMLDOMSchemaCollection2>(m_Option.GetSchemaCache()), 1);
  if (list.total == 0) return true;
  why = list.faults.front().message;
  return false;
}

void Rules::Root() {
  const Origin origin = m_Files.Find("element", L"Configuration");
  if (m_Model.FindElement({"", "Configuration"}) == nullptr) {
    Add(m_Files.Root(), false, "root", L"There is no global element Configuration.",
        L"declare the root that docs/schema-guide.md shows");
    return;
  }
  std::wstring why;
  if (!Accepts(L"<Configuration/>", why))
    Add(origin, false, "root", L"An empty Configuration is not valid: " + why,
        L"let Category occur any number of times, and make all attributes optional");
  const wchar_t* const attributes[] = {L"instance_id=\"id\"", L"major_version=\"1\"",
                                       L"minor_version=\"2\"", L"revision=\"3\""};
  for (const std::wstring attribute : attributes) {
    if (Accepts(L"<Configuration " + attribute + L"/>", why)) continue;
    std::wstring fault = L"Configuration does not take ";
    fault.append(attribute).append(L": ").append(why);
    Add(origin, false, "header", fault, L"declare the attribute, optional, as xs:string or xs:int");
  }
  if (!Accepts(L"<Configuration><Category/><Category/></Configuration>", why))
    Add(origin, false, "root", L"Two empty Category elements are not valid: " + why,
        L"Category needs minOccurs=\"0\" maxOccurs=\"unbounded\", and so does what is in it");
}

void Rules::Categories() {
  const ISchemaElement* root = m_Model.FindElement({"", "Configuration"});
  const ISchemaComplexType* rootType = ComplexTypeOf(root);
  const ISchemaElement* group = rootType != nullptr ? ChildOf(*rootType, L"Category") : nullptr;
  const ISchemaComplexType* groupType = ComplexTypeOf(group);
  const Origin origin = m_Files.Find("element", L"Configuration", L"Category");
  if (groupType == nullptr) {
    if (root != nullptr)
      Add(origin, false, "root", L"Configuration has no child Category that holds elements.",
          L"declare the root that docs/schema-guide.md shows");
    return;
  }
  const std::vector<const Particle*> content = groupType->Content();
  const bool free = content.size() == 1 && content[0]->max == kUnbounded &&
                    content[0]->group != nullptr &&
                    (content[0]->group->compositor == Compositor::kChoice ||
                     content[0]->group->particles.size() == 1);
  if (!free)
    Add(origin, true, "order", L"Category does not hold any number of instances in any order.",
        L"make it one xs:choice with minOccurs=\"0\" maxOccurs=\"unbounded\": the library moves "
        L"instances to the end of theirs");
  m_Categories = groupType->Elements();
  if (m_Categories.empty())
    Add(origin, false, "category", L"Category holds no elements: there are no categories.",
        L"refer to one global element per category in it");
  for (const ISchemaElement* category : m_Categories) Category(*category);
}

void Rules::Category(const ISchemaElement& category) {
  const std::wstring name = category.name;
  const ISchemaElement* global = m_Model.FindElement(category.Key());
  if (global == nullptr || category.declaration != global) {
    Add(m_Files.Find("element", L"Configuration", name), false, "category",
        L"The category " + name + L" is no global element.",
        L"declare it globally and write <xs:element ref=\"" + name + L"\"/>");
    return;
  }
  const Origin origin = m_Files.Find("element", name);
  const ISchemaComplexType* type = ComplexTypeOf(global);
  if (type == nullptr || type->name.empty()) {
    Add(origin, false, "category", L"The category " + name + L" has no named complex type.",
        L"give it one: <xs:element name=\"" + name + L"\" type=\"" + name + L"Type\"/>");
    if (type == nullptr) return;
  }
  const Origin typeOrigin =
      type->name.empty() ? origin : m_Files.Find("complexType", type->name, L"InstanceId");
  const ISchemaElement* id = ChildOf(*type, L"InstanceId");
  if (id == nullptr) {
    Add(typeOrigin, false, "InstanceId", L"The category " + name + L" has no InstanceId.",
        L"let its first child be <xs:element name=\"InstanceId\" type=\"InstanceIdType\"/>");
  } else if (!IsOfType(id->type, L"InstanceIdType")) {
    Add(typeOrigin, false, "InstanceId",
        L"The InstanceId of the category " + name + L" is not of the type InstanceIdType.",
        L"GetInstanceId and SetInstanceId look for that name");
  } else {
    CCfgInstance instance(m_Option);
    if (!CCfgCategory(name.c_str(), m_Option).CreateInstance(instance))
      Add(origin, true, "default",
          L"No new " + name + L" can be made: a required field has no valid default.",
          L"give every required field a default, or let it be empty; \"cfgexctl new\" names them");
  }
  Fields(*global);
}

// Whether some overload of the accessors reads a field of the type.
bool IsRead(const ISchemaType& type) {
  const auto isObject = [](FieldType one) {
    return one == FieldType::kEmbeddedObject || one == FieldType::kEmbeddedObjectArray;
  };
  const auto isRead = [&](FieldType one) {
    return one != FieldType::kUnknown && one != FieldType::kDateTimeArray && !isObject(one);
  };
  const ISchemaItemCollection& bases = type.base_types;
  const FieldType base = bases.get_length() == 1 ? FieldTypeFromName(bases.get_item(0)->get_name())
                                                 : FieldType::kUnknown;
  if (isObject(base) && !type.name.empty()) return true;
  return isRead(FieldTypeFromName(type.name)) || isRead(base);
}

// Whether the type has a value, not only fields that paths reach.
bool HoldsValue(const ISchemaType& type) {
  const ISchemaComplexType* complex = type.complex;
  return complex == nullptr || complex->has_simple_content || complex->is_mixed ||
         FieldTypeFromName(type.name) != FieldType::kUnknown;
}

void Rules::Fields(const ISchemaElement& category) {
  std::vector<const ISchemaElement*> open = {&category};
  while (!open.empty()) {
    const ISchemaElement& element = *open.back();
    open.pop_back();
    const ISchemaComplexType* type = ComplexTypeOf(&element);
    if (type == nullptr || !m_Seen.insert(element.type).second) continue;
    for (const ISchemaElement* field : type->Elements()) {
      open.push_back(field);
      // What is in a list is read with the list.
      if (field->type == nullptr || field->name == L"Item" || IsRead(*field->type)) continue;
      const Origin origin = type->name.empty()
                                ? m_Files.Find("element", category.name, field->name)
                                : m_Files.Find("complexType", type->name, field->name);
      const ISchemaType* base = field->type->base;
      const ISchemaType* far = base != nullptr ? base->base : nullptr;
      if (field->type->schema != nullptr && far != nullptr && IsRead(*far) &&
          FieldTypeFromName(far->name) != FieldType::kUnknown) {
        Add(origin, true, "two steps",
            L"The type " + field->type->name + L" of the field " + field->name +
                L" is derived from " + far->name + L" in two steps.",
            L"derive it from that directly: no overload reads the field as it is");
      } else if (HoldsValue(*field->type)) {
        const std::wstring name = field->type->name;
        Add(origin, true, "unread",
            L"No overload reads the field " + field->name +
                (name.empty() ? L": its type has no name that the library knows."
                              : L" of the type " + name + L"."),
            L"give it a type that docs/schema-guide.md lists, or one derived from that directly");
      }
    }
  }
}

const ISchemaComplexType* Rules::GlobalType(const std::wstring& name) const {
  const ISchemaType* type = m_Model.FindType({"", Narrow(name)});
  return type != nullptr ? type->complex : nullptr;
}

void Rules::NamedTypes() {
  if (m_Model.FindType({"", "InstanceIdType"}) == nullptr)
    Add(m_Files.Root(), false, "InstanceIdType", L"There is no type InstanceIdType.",
        L"include cfgex-types.xsd, which declares the named types");
  const wchar_t* const shaped[] = {L"ReferenceType",           L"ReferenceArrayType",
                                   L"StringArrayType",         L"IntegerArrayType",
                                   L"UnsigedIntegerArrayType", L"BooleanArrayType"};
  for (const std::wstring name : shaped) {
    const ISchemaComplexType* type = GlobalType(name);
    if (type == nullptr) {
      // The correct English spelling is not the name that the library looks for.
      if (name == L"UnsigedIntegerArrayType" &&
          m_Model.FindType({"", "UnsignedIntegerArrayType"}) != nullptr)
        Add(m_Files.Find("complexType", L"UnsignedIntegerArrayType"), true, "spelling",
            L"The library knows only the spelling UnsigedIntegerArrayType.", L"rename the type");
      continue;
    }
    const Origin origin = m_Files.Find("complexType", name);
    if (name == L"ReferenceType") {
      if (ChildOf(*type, L"Category") == nullptr || ChildOf(*type, L"InstanceId") == nullptr)
        Add(origin, false, "ReferenceType", L"ReferenceType lacks Category or InstanceId.",
            L"a reference is these two texts");
      continue;
    }
    const ISchemaElement* item = ChildOf(*type, L"Item");
    if (item == nullptr) {
      Add(origin, false, "list", name + L" has no element Item.",
          L"the library writes each value as an Item");
    } else if (name == L"ReferenceArrayType") {
      const ISchemaComplexType* itemType = ComplexTypeOf(item);
      if (itemType == nullptr || ChildOf(*itemType, L"Category") == nullptr ||
          ChildOf(*itemType, L"InstanceId") == nullptr)
        Add(origin, false, "list", L"The Item of ReferenceArrayType lacks Category or InstanceId.",
            L"a reference is these two texts, in this order");
    }
  }
}

std::vector<Finding> Rules::Run() {
  SchemaItself();
  Root();
  Categories();
  NamedTypes();
  return std::move(m_Findings);
}

}  // namespace

std::vector<Finding> HoldAgainstLibrary(const std::wstring& path, const SchemaFiles& files) {
  return Rules(path, files).Run();
}

}  // namespace cfgexctl
