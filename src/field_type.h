// The schema type names that the library knows, and how an element's type is compared with them.
#pragma once

#include <string_view>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// The numbers are fixed by the interface.
enum class FieldType {
  kString = 0,
  kInteger = 1,
  kBoolean = 2,
  kDateTime = 3,
  kReference = 4,
  kEmbeddedObject = 5,
  kNonNegativeInteger = 6,
  kStringArray = 7,
  kIntegerArray = 8,
  kBooleanArray = 9,
  kDateTimeArray = 10,
  kReferenceArray = 11,
  kEmbeddedObjectArray = 12,
  kUnsignedIntegerArray = 13,
  kInstanceId = 14,
  kUnknown = 15,
};

// The name of the schema type; "UnknownType" for kUnknown and for numbers outside the list.
const wchar_t* GetFieldTypeName(FieldType type);
// The type with exactly this name; kUnknown for any other name.
FieldType FieldTypeFromName(std::wstring_view name);

// Whether the element's declared type is `expected`: by its own name, or by that of its direct
// base if it has exactly one. For embedded objects and arrays of them the declared type is a
// named complex type of the schema that derives from `expected` directly. False for an element
// without declaration, and where the platform fails.
bool CheckFieldType(const ComPtr<IXMLDOMElement>& element, FieldType expected);

}  // namespace cfgex::internal
