// What the schema says about an element.
#pragma once

#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// The declaration of an element of a document that is bound to a schema; none when the element is
// absent, its document is bound to no schema, or the schema does not declare it. Raises _com_error
// where the platform fails.
inline ComPtr<ISchemaElement> DeclarationOf(const ComPtr<IXMLDOMElement>& element) {
  if (!element) return nullptr;
  const ComPtr<IXMLDOMDocument2> document = element->get_ownerDocument();
  if (!document) return nullptr;
  const ComPtr<IXMLDOMSchemaCollection2> schemas = document->get_namespaces();
  if (!schemas) return nullptr;
  return As<ISchemaElement>(schemas->getDeclaration(element));
}

}  // namespace cfgex::internal
