// Generates an XML instance of a schema's element: the smallest one that the schema's defaults and
// required parts make.
//
// Threads: an object belongs to one thread at a time; any number of objects may be at work at once,
// on one schema too.
#pragma once

#include <string>

#include "platform/dom/dom.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

// What the generator tells its callback about one element of the schema.
class CSchemaElementInfo {
 public:
  // The element's declaration: of an element in the place of an abstract one its own, but with the
  // occurrence of the place. None for the root when it was made of a type.
  virtual ComPtr<ISchemaElement> GetDeclaration() = 0;
  // The node generated for the element, with its attributes and, where the schema has one, its
  // default or fixed text, but before its children.
  virtual ComPtr<IXMLDOMNode> GetNode() = 0;
  // True leaves the element out, with all below it. The root stays whatever is said here.
  virtual void SetOmitted(bool omitted) = 0;

 protected:
  ~CSchemaElementInfo() = default;
};

class CXMLSchema {
 public:
  class CSchemaElementCallback {
   public:
    virtual void OnStart() = 0;  // before the first element
    virtual void OnEnd() = 0;    // after the last one
    // Once for each element, in document order; also for an optional one, which stays unless this
    // leaves it out. What is in an optional group is not asked for, and not generated.
    virtual void OnElement(CSchemaElementInfo& info) = 0;

   protected:
    ~CSchemaElementCallback() = default;
  };

  CXMLSchema();
  virtual ~CXMLSchema();
  CXMLSchema(const CXMLSchema&) = delete;
  CXMLSchema& operator=(const CXMLSchema&) = delete;

  // Reads the schema file, with what it includes, imports and redefines. False when it cannot be
  // used, and then nothing can be generated: a file is missing or not well-formed, has a document
  // type declaration, or they make no schema. Whether the schema is valid is not judged.
  //
  // The process keeps the last few schemas that were read (schema_reader.h); one is read again when
  // any of its files was changed or replaced.
  virtual bool LoadSchema(const wchar_t* path);

  // The text of an element named `name`, without an XML declaration, or the empty text.
  //
  // `name`, without a namespace, is looked for among the elements that are declared at any depth
  // below the global element `scope`, if that is not null, the nearest first, and those of an
  // element's own type before those of types derived from it; then among the global elements; then
  // among the global types, where the type's name becomes the tag. Of global ones those of the
  // schema's own target namespace come first.
  //
  // The element's parts are generated in the order of the schema, those of a base type first, as
  // many copies as the minimum asks for; of a choice the first alternative that can be made; for an
  // element that is abstract or cannot be made the first member of its substitution group that can,
  // for an abstract type likewise a derived one, with xsi:type. What can be made has a finite form
  // and needs no wildcard; where nothing can, it is the first that is not abstract. Wildcards
  // generate nothing. A default or fixed value becomes the element's text, with blanks collapsed
  // where its type does so; required attributes get theirs, else the empty text. Other attributes
  // are not written.
  //
  // The text is empty when the schema was not loaded, nothing has that name or what has it is
  // abstract, and when the element has no finite form: a required part contains itself or can only
  // be abstract, elements nest deeper than kMaxDepth, or there would be more than 100,000.
  // Raises _com_error where the platform fails, and what the callback raises.
  virtual std::wstring CreateXmlInstance(const wchar_t* name, CSchemaElementCallback& callback,
                                         const wchar_t* scope);

 private:
  class CImpl;
  CImpl* m_pImpl;
};

}  // namespace cfgex::internal
