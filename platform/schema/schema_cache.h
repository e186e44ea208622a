// The schema cache: a schema compiled by the engine, which alone decides on validity, and beside it
// the model of its components. The two calls of its interface that take nodes are those of
// SchemaCollection, in the room above.
//
// Invariants:
// 1. A cache is empty, or holds the engine's schema, the document that this was compiled from, and
//    the model. `add` sets all of them or none, once; nothing changes them afterwards.
// 2. `xmlNode::psvi` of an element in a document that is bound to this cache is null, or what was
//    found for the element: its ISchemaElement, or one of two marks for none. It is right for the
//    place where the element was when it was asked for. Moving an element clears it.
#pragma once

#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include <memory>
#include <string>

#include "platform/schema/schema_model.h"
#include "platform/tree/parser.h"

namespace cfgex::internal {

// The name of an element. It points into the tree.
NameKey KeyOf(const xmlNode* c_element) noexcept;

struct ValidationOutcome {
  long code = 0;  // 0 = valid
  long line = 0;  // of the first fault, from 1; 0 where not known
  std::wstring reason;
};

using XmlSchemaPtr = std::unique_ptr<xmlSchema, FreedBy<xmlSchemaFree>>;

// Compiles a schema for the engine, which keeps pointing into the document. Errors and warnings go
// to `report`, which raises nothing, with `context`. Null when the schema is refused. To be called
// in AskEngine, and after ReadSchema took the schema: on others the engine may run for ever.
XmlSchemaPtr CompileSchema(xmlDoc* c_document, xmlStructuredErrorFunc report, void* context);

class SchemaCache : public Counted<IXMLDOMSchemaCollection2> {
 public:
  ComPtr<ISchema> getSchema(std::wstring_view namespaceUri) override;

  // `add` for a document of the engine. What the cache needs of it is copied.
  void Add(std::wstring_view namespaceUri, xmlDoc* c_document);

  // Validates the document, or an element of it with all below it against the global declaration of
  // its name, and leaves it as it was. Raises _com_error when the cache is empty, std::bad_alloc
  // where the engine cannot do its work. Any number of threads may validate, each its own document.
  ValidationOutcome Validate(xmlDoc* c_document, xmlNode* c_element = nullptr) const;
  // The same, for AskEngine: returns whether it is valid. Every error of the engine goes to
  // `report`, which raises nothing, with `context`.
  bool Validate(xmlDoc* c_document, xmlStructuredErrorFunc report, void* context,
                xmlNode* c_element = nullptr) const;
  bool IsValidByItself(xmlNode* c_element) const {
    return Validate(c_element->doc, c_element).code == 0;
  }
  // Whether a rule of the schema ties parts of a document together wherever they are.
  bool TiesPartsTogether() const noexcept { return m_TiesPartsTogether; }

  // The declaration of an element: of a root by its name, of another by its parent's type. Null
  // for none, and for an element that is in no document and was not asked for while it was. The
  // answer is kept in the tree (invariant 2). The time grows with the distance to the nearest
  // ancestor that has an answer.
  ISchemaItem* DeclarationOf(xmlNode* c_element) const;

  // The components, or null when the cache is empty.
  const SchemaModel* Model() const noexcept { return m_Model.get(); }

 private:
  const ISchemaType* TypeFromInstance(const xmlNode* c_element) const;

  XmlDocPtr m_Document;  // before the schema, which points into it
  XmlSchemaPtr m_Schema;
  ComPtr<SchemaModel> m_Model;
  bool m_TiesPartsTogether = false;
};

}  // namespace cfgex::internal
