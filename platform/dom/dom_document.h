// What this room knows of a document: the owner of the engine's trees.
#pragma once

#include <libxml/tree.h>

#include "platform/dom/fragment.h"
#include "platform/dom/tree_changes.h"
#include "platform/tree/parser.h"

namespace cfgex::internal {

// Invariants:
//   1. `_private` of every xmlDoc that a document owns points to the document, as an IXMLDOMNode.
//   2. The object of a node holds a count on the document of the node's xmlDoc.
//   3. No tree, in the document or a fragment, is deeper than kMaxDepth elements.
//   4. No object's node is in a tree that nobody owns.
struct IXMLDOMDocument2::State {
  xmlNode* Root() const noexcept { return xmlDocGetRootElement(tree.get()); }
  // The schema cache that the document is bound to, or null.
  const SchemaCache* Schemas() const noexcept;
  // Makes the schema remember the declaration that the element has in its place.
  void FixDeclaration(xmlNode* c_element) const;

  XmlDocPtr earlier;  // what nodes were created in before the document was loaded
  XmlDocPtr tree;
  bool isLoaded = false;
  FileState file;
  ComPtr<IXMLDOMSchemaCollection2> schemas;
  TreeChanges changes;  // every change of a node of the document
};

// The funnel of the changes of a node's document.
inline TreeChanges& ChangesOf(const xmlNode* c_node) noexcept {
  return DocumentOf(c_node).Own().changes;
}

}  // namespace cfgex::internal
