#include "platform/dom/schema_collection.h"

#include "platform/dom/dom_document.h"
#include "platform/os/fault_point.h"

namespace cfgex::internal {

void SchemaCollection::add(std::wstring_view namespaceUri,
                           const ComPtr<IXMLDOMDocument2>& document) {
  if (!document) throw _com_error(_com_error::kPointer, "add: no schema document");
  Add(namespaceUri, document->Own().tree.get());
}

ComPtr<ISchemaItem> SchemaCollection::getDeclaration(const ComPtr<IXMLDOMNode>& node) {
  RaiseFaultHere(FaultPoint::kGetDeclaration);
  if (node->get_nodeType() != DomNodeType::kElement) return nullptr;
  // The tree of a document that is bound elsewhere remembers what is not ours.
  if (!(node->get_ownerDocument()->get_namespaces() == ComPtr<IXMLDOMSchemaCollection2>(this)))
    return nullptr;
  return ComPtr<ISchemaItem>(DeclarationOf(node->EngineNode()));
}

}  // namespace cfgex::internal
