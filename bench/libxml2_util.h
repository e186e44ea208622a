// What the floor and the hand-written subject share: owning pointers to libxml2's data, parsing,
// and the compiled schema.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlschemas.h>

#include <memory>
#include <string>
#include <string_view>

#include "bench/bench.h"

namespace bench {

template <auto Free>
struct Freed {
  template <class T>
  void operator()(T* pointer) const {
    Free(pointer);
  }
};
using DocPtr = std::unique_ptr<xmlDoc, Freed<xmlFreeDoc>>;
using SchemaPtr = std::unique_ptr<xmlSchema, Freed<xmlSchemaFree>>;

inline DocPtr ParseFile(const std::filesystem::path& path, int options) {
  DocPtr document(xmlReadFile(path.c_str(), nullptr, options));
  Require(document != nullptr, "parse a file");
  return document;
}

inline DocPtr ParseText(std::string_view text, int options) {
  DocPtr document(
      xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr, options));
  Require(document != nullptr, "parse a text");
  return document;
}

// Compiled once.
inline xmlSchema* CompiledSchema() {
  static const SchemaPtr schema = [] {
    xmlSchemaParserCtxt* c_context = xmlSchemaNewParserCtxt(Schema().c_str());
    SchemaPtr compiled(xmlSchemaParse(c_context));
    xmlSchemaFreeParserCtxt(c_context);
    Require(compiled != nullptr, "compile the schema");
    return compiled;
  }();
  return schema.get();
}

inline void Validate(xmlDoc* document) {
  xmlSchemaValidCtxt* c_context = xmlSchemaNewValidCtxt(CompiledSchema());
  const int result = xmlSchemaValidateDoc(c_context, document);
  xmlSchemaFreeValidCtxt(c_context);
  Require(result == 0, "validate a document");
}

inline std::string Serialised(xmlDoc* document, bool format) {
  xmlChar* bytes = nullptr;
  int size = 0;
  xmlDocDumpFormatMemoryEnc(document, &bytes, &size, "UTF-8", format ? 1 : 0);
  Require(bytes != nullptr && size > 0, "serialise a document");
  std::string text(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
  xmlFree(bytes);
  return text;
}

}  // namespace bench
