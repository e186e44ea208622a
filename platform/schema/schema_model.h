// The schema cache and the object model of a compiled schema.
//
// The model tells what the schema declares; validity is never decided on it. Its objects live as
// long as the cache that they came from, which any count on any of them keeps alive.
//
// Threads: a cache that was filled does not change any more, and any number of threads may use it
// and its items.
#pragma once

#include <string>
#include <string_view>

#include "platform/os/com_ptr.h"

namespace cfgex::internal {

class IXMLDOMDocument2;
class IXMLDOMNode;

class ISchema;
class ISchemaItemCollection;
class ISchemaType;

class ISchemaItem : public IUnknown {
 public:
  // The name of a declaration or type, without namespace; empty for an anonymous type.
  virtual const std::wstring& get_name() = 0;
  virtual ComPtr<ISchema> get_schema() = 0;  // none for a built-in type
};

class ISchemaItemCollection : public IUnknown {
 public:
  virtual long get_length() = 0;
  virtual ComPtr<ISchemaItem> get_item(long index) = 0;                // from 0; none past the end
  virtual ComPtr<ISchemaItem> itemByName(std::wstring_view name) = 0;  // none when unknown
};

class ISchema : public ISchemaItem {
 public:
  virtual const std::wstring& get_version() = 0;          // the `version` attribute, or empty
  virtual ComPtr<ISchemaItemCollection> get_types() = 0;  // the global types
};

class ISchemaParticle : public ISchemaItem {
 public:
  virtual const std::wstring& get_minOccurs() = 0;  // a decimal number, as "0" or "1"
};

class ISchemaElement : public ISchemaParticle {
 public:
  virtual ComPtr<ISchemaType> get_type() = 0;
  virtual const std::wstring& get_defaultValue() = 0;  // empty when there is none
  virtual const std::wstring& get_fixedValue() = 0;
};

class ISchemaType : public ISchemaItem {
 public:
  // What the type derives from directly: its base, or the member types of a union; empty for
  // "anyType".
  virtual ComPtr<ISchemaItemCollection> get_baseTypes() = 0;
};

class ISchemaComplexType : public ISchemaType {};

class IXMLDOMSchemaCollection : public IUnknown {
 public:
  // Compiles the schema in `document` into the cache, under the namespace `namespaceUri`, with what
  // it includes, imports and redefines: readable local files, relative to the document's own.
  // A schema that is not acceptable is a failure. A cache takes one schema.
  virtual void add(std::wstring_view namespaceUri, const ComPtr<IXMLDOMDocument2>& document) = 0;
  // The schema added under that namespace, or none.
  virtual ComPtr<ISchema> getSchema(std::wstring_view namespaceUri) = 0;
};

class IXMLDOMSchemaCollection2 : public IXMLDOMSchemaCollection {
 public:
  // The declaration of an element of a document that is bound to this cache: of the root by its
  // name, of any other element from its parent's type (the `xsi:type` of the parent if it has one).
  // An element has it from the moment that it is put in its place, and one that was cut
  // out keeps it. None where the schema does not declare the element there.
  virtual ComPtr<ISchemaItem> getDeclaration(const ComPtr<IXMLDOMNode>& node) = 0;
};

}  // namespace cfgex::internal
