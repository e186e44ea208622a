#include "platform/schema/schema_cache.h"

#include <libxml/valid.h>

#include <new>
#include <vector>

#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/schema/schema_documents.h"
#include "platform/schema/schema_reader.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// Hands the engine's reports on, once its scope has seen them.
struct Reporter {
  xmlStructuredErrorFunc report;
  void* context;

  static void Take(void* self, EngineError* error) noexcept {
    EngineScope::Note(error);
    const auto& reporter = *static_cast<Reporter*>(self);
    reporter.report(reporter.context, error);
  }
};

// The first error that the engine reports. It calls from C code, so nothing may be raised there.
struct FirstError {
  long code = 0;
  long line = 0;
  std::string message;

  static void Take(void* self, EngineError* error) noexcept {
    auto& first = *static_cast<FirstError*>(self);
    if (first.code != 0 || error == nullptr || error->level < XML_ERR_ERROR) return;
    first.code = error->code != 0 ? error->code : XML_ERR_INTERNAL_ERROR;
    first.line = error->line;
    try {
      if (error->message != nullptr) first.message = error->message;
      while (!first.message.empty() && first.message.back() == '\n') first.message.pop_back();
    } catch (const std::bad_alloc&) {
      first.message.clear();
    }
  }
};

XmlSchemaPtr Compile(xmlDoc* c_document) {
  FirstError error;
  XmlSchemaPtr schema = AskEngine([&] {
    error = {};
    return CompileSchema(c_document, &FirstError::Take, &error);
  });
  if (schema == nullptr) {
    throw _com_error(_com_error::kFail, "add: schema refused, line " + std::to_string(error.line) +
                                            ": " + error.message);
  }
  return schema;
}

// Takes back what validating leaves in a document: tables of the attributes of the types ID and
// IDREF, which would grow with each validation, and the marks on these attributes, which would keep
// them from being looked at again.
void ForgetIds(xmlDoc* c_document) noexcept {
  if (c_document->ids == nullptr && c_document->refs == nullptr) return;
  const auto* c_root = reinterpret_cast<xmlNode*>(c_document);
  for (xmlNode* c_node = c_document->children; c_node != nullptr;
       c_node = NextInTree(c_node, c_root)) {
    if (c_node->type != XML_ELEMENT_NODE) continue;
    for (xmlAttr* c_attr = c_node->properties; c_attr != nullptr; c_attr = c_attr->next)
      c_attr->atype = static_cast<xmlAttributeType>(0);
  }
  xmlFreeIDTable(static_cast<xmlIDTable*>(std::exchange(c_document->ids, nullptr)));
  xmlFreeRefTable(static_cast<xmlRefTable*>(std::exchange(c_document->refs, nullptr)));
}

// The marks of invariant 2: for an element without declaration, below which nothing has one, or
// what has a global one does.
char g_NoneMark;
char g_LaxMark;

void Remember(xmlNode* c_element, const Match& match) noexcept {
  c_element->psvi = match.declaration != nullptr ? static_cast<void*>(match.declaration)
                    : match.lax                  ? &g_LaxMark
                                                 : &g_NoneMark;
}

Match Recall(const xmlNode* c_element) noexcept {
  if (c_element->psvi == &g_NoneMark) return {};
  if (c_element->psvi == &g_LaxMark) return {nullptr, true};
  return {static_cast<ISchemaElement*>(c_element->psvi), false};
}

}  // namespace

NameKey KeyOf(const xmlNode* c_element) noexcept {
  return {Uri(c_element->ns), Chars(c_element->name)};
}

XmlSchemaPtr CompileSchema(xmlDoc* c_document, xmlStructuredErrorFunc report, void* context) {
  const std::unique_ptr<xmlSchemaParserCtxt, FreedBy<xmlSchemaFreeParserCtxt>> parser(
      xmlSchemaNewDocParserCtxt(c_document));
  if (parser == nullptr) throw std::bad_alloc();
  Reporter reporter{report, context};
  xmlSchemaSetParserStructuredErrors(parser.get(), &Reporter::Take, &reporter);
  return XmlSchemaPtr(xmlSchemaParse(parser.get()));
}

void SchemaCache::Add(std::wstring_view namespaceUri, xmlDoc* c_document) {
  RaiseFaultHere(FaultPoint::kAdd);
  const EngineScope scope;
  if (m_Model) throw _com_error(_com_error::kFail, "add: the cache has a schema already");
  SchemaDocuments documents(c_document);
  if (ToUtf8(namespaceUri) != TokenAttribute(documents.Main().Root(), "targetNamespace"))
    throw _com_error(_com_error::kInvalidArgument, "add: not the schema's target namespace");
  ComPtr<SchemaModel> model = ReadSchema(documents);
  const bool ties = internal::TiesPartsTogether(documents);
  XmlDocPtr document = documents.TakeMain();
  XmlSchemaPtr schema = Compile(document.get());
  m_Document = std::move(document);
  m_Schema = std::move(schema);
  m_Model = std::move(model);
  m_TiesPartsTogether = ties;
}

ComPtr<ISchema> SchemaCache::getSchema(std::wstring_view namespaceUri) {
  if (!m_Model || m_Model->added->uri != ToUtf8(namespaceUri)) return nullptr;
  return ComPtr<ISchema>(m_Model->added);
}

bool SchemaCache::Validate(xmlDoc* c_document, xmlStructuredErrorFunc report, void* context,
                           xmlNode* c_element) const {
  if (m_Schema == nullptr) throw _com_error(_com_error::kFail, "validate: no schema");
  RaiseFaultHere(FaultPoint::kNewValidator);
  const std::unique_ptr<xmlSchemaValidCtxt, FreedBy<xmlSchemaFreeValidCtxt>> validator(
      xmlSchemaNewValidCtxt(m_Schema.get()));
  if (validator == nullptr) throw std::bad_alloc();
  Reporter reporter{report, context};
  xmlSchemaSetValidStructuredErrors(validator.get(), &Reporter::Take, &reporter);
  const int result = c_element == nullptr ? xmlSchemaValidateDoc(validator.get(), c_document)
                                          : xmlSchemaValidateOneElement(validator.get(), c_element);
  ForgetIds(c_document);
  // What the engine could not do is no failure that could be taken for "not valid".
  if (result < 0) throw std::bad_alloc();
  return result == 0;
}

ValidationOutcome SchemaCache::Validate(xmlDoc* c_document, xmlNode* c_element) const {
  FirstError error;
  const bool valid = AskEngine([&] {
    error = {};
    return Validate(c_document, &FirstError::Take, &error, c_element);
  });
  if (valid) return {};
  if (error.code == 0) error.code = XML_ERR_INTERNAL_ERROR;
  return {error.code, error.line, FromUtf8(error.message)};
}

const ISchemaType* SchemaCache::TypeFromInstance(const xmlNode* c_element) const {
  const xmlAttr* c_type =
      xmlHasNsProp(c_element, XmlChars("type"), XmlChars(kSchemaInstanceNamespace));
  if (c_type == nullptr) return nullptr;
  const std::string value = AttributeValue(c_type);
  const std::vector<std::string_view> words = Words(value);
  if (words.size() != 1) return nullptr;  // no name of a type
  const std::string_view name = words.front();
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return m_Model->FindType({Uri(FindNs(c_element, "")), name});
  const xmlNs* c_ns = FindNs(c_element, name.substr(0, colon));
  return c_ns == nullptr ? nullptr : m_Model->FindType({Uri(c_ns), name.substr(colon + 1)});
}

ISchemaItem* SchemaCache::DeclarationOf(xmlNode* c_element) const {
  if (!m_Model) return nullptr;
  if (c_element->psvi != nullptr) return Recall(c_element).declaration;

  // Up to an element that is known or the root, and down again.
  std::vector<xmlNode*> path;
  xmlNode* c_top = c_element;
  for (; c_top->psvi == nullptr; c_top = c_top->parent) {
    path.push_back(c_top);
    if (c_top->parent == nullptr) return nullptr;
    if (c_top->parent->type != XML_ELEMENT_NODE) {
      if (c_top->parent->type != XML_DOCUMENT_NODE) return nullptr;
      Remember(c_top, {m_Model->FindElement(KeyOf(c_top)), false});
      path.pop_back();
      break;
    }
  }
  Match match = Recall(c_top);
  for (auto step = path.rbegin(); step != path.rend(); ++step) {
    xmlNode* c_parent = (*step)->parent;
    match = m_Model->FindChild(match, TypeFromInstance(c_parent), KeyOf(*step));
    Remember(*step, match);
  }
  return match.declaration;
}

}  // namespace cfgex::internal
