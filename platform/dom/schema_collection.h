// The schema cache as documents see it.
#pragma once

#include "platform/dom/dom.h"
#include "platform/schema/schema_cache.h"

namespace cfgex::internal {

class SchemaCollection final : public SchemaCache {
 public:
  void add(std::wstring_view namespaceUri, const ComPtr<IXMLDOMDocument2>& document) override;
  ComPtr<ISchemaItem> getDeclaration(const ComPtr<IXMLDOMNode>& node) override;
};

}  // namespace cfgex::internal
