#include "src/field_type.h"

#include <array>

#include "platform/schema/schema_model.h"
#include "src/element_declaration.h"
#include "src/frame.h"

namespace cfgex::internal {
namespace {

constexpr std::array<const wchar_t*, 16> kTypeNames = {
    L"string",
    L"integer",
    L"boolean",
    L"dateTime",
    L"ReferenceType",
    L"EmbeddedObjectType",
    L"nonNegativeInteger",
    L"StringArrayType",
    L"IntegerArrayType",
    L"BooleanArrayType",
    L"DateTimeArrayType",
    L"ReferenceArrayType",
    L"EmbeddedObjectArrayType",
    L"UnsigedIntegerArrayType",  // spelled like this in existing schemas
    L"InstanceIdType",
    L"UnknownType",
};

bool IsOfType(const ComPtr<ISchemaType>& type, const wchar_t* name) {
  if (type->get_name() == name) return true;
  const ComPtr<ISchemaItemCollection> baseTypes = type->get_baseTypes();
  return baseTypes && baseTypes->get_length() == 1 && baseTypes->get_item(0)->get_name() == name;
}

bool IsNamedComplexTypeOver(const ComPtr<ISchemaElement>& declaration,
                            const ComPtr<ISchemaType>& type, const wchar_t* base) {
  const ComPtr<ISchemaItemCollection> globalTypes = declaration->get_schema()->get_types();
  if (!As<ISchemaComplexType>(globalTypes->itemByName(type->get_name()))) return false;
  return static_cast<bool>(As<ISchemaComplexType>(type->get_baseTypes()->itemByName(base)));
}

}  // namespace

const wchar_t* GetFieldTypeName(FieldType type) {
  const auto index = static_cast<std::size_t>(type);
  return index < kTypeNames.size() ? kTypeNames[index] : kTypeNames.back();
}

FieldType FieldTypeFromName(std::wstring_view name) {
  for (std::size_t index = 0; index < kTypeNames.size(); ++index) {
    if (name == kTypeNames[index]) return static_cast<FieldType>(index);
  }
  return FieldType::kUnknown;
}

bool CheckFieldType(const ComPtr<IXMLDOMElement>& element, FieldType expected) {
  bool result = false;
  Guarded([&] {
    const ComPtr<ISchemaElement> declaration = DeclarationOf(element);
    if (!declaration) return;
    const ComPtr<ISchemaType> type = declaration->get_type();
    if (!type) return;
    const wchar_t* name = GetFieldTypeName(expected);
    result = expected == FieldType::kEmbeddedObject || expected == FieldType::kEmbeddedObjectArray
                 ? IsNamedComplexTypeOver(declaration, type, name)
                 : IsOfType(type, name);
  });
  return result;
}

}  // namespace cfgex::internal
