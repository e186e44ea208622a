#include "src/prog_id.h"

#include <atomic>
#include <initializer_list>

#include "platform/dom/create_object.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {
namespace {

// The first of the classes that can be made, or null. Two threads may both make the first call;
// they find the same.
const wchar_t* Select(std::atomic<const wchar_t*>& found,
                      std::initializer_list<const wchar_t*> names) {
  for (const wchar_t* name : names)
    if (found == nullptr && CreateObject(name)) found = name;
  return found;
}

}  // namespace

const wchar_t* SelectDomProgId() {
  static constinit std::atomic<const wchar_t*> found{nullptr};
  if (Select(found, {L"MSXML2.DOMDocument.6.0", L"MSXML2.DOMDocument.4.0"}) == nullptr)
    found = L"MSXML2.DOMDocument.3.0";
  return found;
}

const wchar_t* SelectSchemaCacheProgId() {
  static constinit std::atomic<const wchar_t*> found{nullptr};
  return Select(found, {L"MSXML2.XMLSchemaCache.6.0", L"MSXML2.XMLSchemaCache.5.0"});
}

}  // namespace cfgex::internal
