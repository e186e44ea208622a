#include "platform/dom/create_object.h"

#include <algorithm>
#include <array>

#include "platform/dom/dom.h"
#include "platform/dom/schema_collection.h"
#include "platform/os/fault_point.h"

namespace cfgex::internal {
namespace {

using namespace std::string_view_literals;

constexpr std::array kDocuments{L"MSXML2.DOMDocument.6.0"sv, L"MSXML2.DOMDocument.4.0"sv,
                                L"MSXML2.DOMDocument.3.0"sv};
constexpr std::array kSchemaCaches{L"MSXML2.XMLSchemaCache.6.0"sv, L"MSXML2.XMLSchemaCache.5.0"sv};

template <class Names>
bool Contains(const Names& names, std::wstring_view name) noexcept {
  return std::find(names.begin(), names.end(), name) != names.end();
}

template <class T>
ComPtr<IUnknown> Make() {
  return ComPtr<IUnknown>(MakeCounted<T>());
}

}  // namespace

ComPtr<IUnknown> CreateObject(std::wstring_view progId) {
  if (FaultHere(FaultPoint::kCreateObject)) return nullptr;
  if (Contains(kDocuments, progId)) return Make<IXMLDOMDocument2>();
  if (Contains(kSchemaCaches, progId)) return Make<SchemaCollection>();
  return nullptr;
}

}  // namespace cfgex::internal
