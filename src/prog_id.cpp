#include "src/prog_id.h"

#include <atomic>

#include "platform/dom/create_object.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {
namespace {

// Two threads may both make the first call; they find the same.
std::atomic<const wchar_t*> g_DomProgId{nullptr};
std::atomic<const wchar_t*> g_SchemaCacheProgId{nullptr};

bool CanMake(const wchar_t* progId) { return static_cast<bool>(CreateObject(progId)); }

}  // namespace

const wchar_t* SelectDomProgId() {
  if (g_DomProgId == nullptr) {
    if (CanMake(L"MSXML2.DOMDocument.6.0")) {
      g_DomProgId = L"MSXML2.DOMDocument.6.0";
    } else if (CanMake(L"MSXML2.DOMDocument.4.0")) {
      g_DomProgId = L"MSXML2.DOMDocument.4.0";
    } else {
      g_DomProgId = L"MSXML2.DOMDocument.3.0";
    }
  }
  return g_DomProgId;
}

const wchar_t* SelectSchemaCacheProgId() {
  if (g_SchemaCacheProgId == nullptr) {
    if (CanMake(L"MSXML2.XMLSchemaCache.6.0")) {
      g_SchemaCacheProgId = L"MSXML2.XMLSchemaCache.6.0";
    } else if (CanMake(L"MSXML2.XMLSchemaCache.5.0")) {
      g_SchemaCacheProgId = L"MSXML2.XMLSchemaCache.5.0";
    }
  }
  return g_SchemaCacheProgId;
}

}  // namespace cfgex::internal
