// Platform objects by the name of their class.
#pragma once

#include <string_view>

#include "platform/os/com_ptr.h"

namespace cfgex::internal {

// A new object of the class with the name `progId`, or none if there is no such class: a document
// ("MSXML2.DOMDocument." and "6.0", "4.0" or "3.0") or a schema cache ("MSXML2.XMLSchemaCache."
// and "6.0" or "5.0"). All versions are one implementation. Raises std::bad_alloc alone.
ComPtr<IUnknown> CreateObject(std::wstring_view progId);

// The same, as the wanted interface; nothing if the object does not have it.
template <class I>
ComPtr<I> CreateObject(std::wstring_view progId) {
  return As<I>(CreateObject(progId));
}

}  // namespace cfgex::internal
