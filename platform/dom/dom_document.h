// The document: owner of the engine's tree.
#pragma once

#include <memory>
#include <vector>

#include "platform/dom/dom.h"
#include "platform/dom/dom_node.h"
#include "platform/dom/live_counts.h"
#include "platform/dom/tree_changes.h"
#include "platform/tree/parser.h"

namespace cfgex::internal {

class SchemaCache;

// The engine's document behind a document; null for none. It stays the document's.
xmlDoc* EngineDocument(IXMLDOMDocument2* document);

// Invariants:
//   1. `_private` of every xmlDoc that it owns points to the Document.
//   2. Every wrapper of a node holds a count on the Document of the node's xmlDoc.
//   3. No tree, in the document or a fragment, is deeper than kMaxDepth elements.
//   4. No wrapper's node is in a tree that it does not own.
class Document final : public NodeObject<IXMLDOMDocument2> {
 public:
  Document();

  void put_async(bool async) override;
  void put_resolveExternals(bool resolve) override;
  void put_validateOnParse(bool validate) override;
  bool load(std::wstring_view path) override;
  bool loadXML(std::wstring_view text) override;
  void save(std::wstring_view path) override;
  const FileState& get_file() override { return m_File; }
  ComPtr<IXMLDOMElement> get_documentElement() override;
  ComPtr<IXMLDOMElement> createElement(std::wstring_view tagName) override;
  ComPtr<IXMLDOMNode> createNode(DomNodeType type, std::wstring_view name,
                                 std::wstring_view namespaceUri) override;
  void putref_schemas(const ComPtr<IXMLDOMSchemaCollection2>& schemas) override;
  ComPtr<IXMLDOMSchemaCollection2> get_namespaces() override;
  ComPtr<IXMLDOMParseError> validate() override;

  // Takes over a tree that was parsed, as `load` does; false for none.
  bool Adopt(XmlDocPtr tree);
  // The tree that paths start at; made on first use.
  xmlDoc* Tree();
  xmlNode* Root();
  // Makes the schema remember the declaration that the element has in its place.
  void FixDeclaration(xmlNode* c_element) const;
  // Every change of a node of this document.
  TreeChanges& Changes() noexcept { return m_Changes; }

 protected:
  ~Document() override;
  xmlNode* EnginePart() override { return reinterpret_cast<xmlNode*>(Tree()); }

 private:
  void RequireUnloaded(const char* operation);

  XmlDocPtr m_Earlier;  // what nodes were created in before the document was loaded
  XmlDocPtr m_Tree;
  bool m_IsLoaded = false;
  FileState m_File;
  ComPtr<IXMLDOMSchemaCollection2> m_Schemas;
  TreeChanges m_Changes;
  Counter<&LiveCounts::documents> m_Counter;
};

}  // namespace cfgex::internal
