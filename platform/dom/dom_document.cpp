#include "platform/dom/dom_document.h"

#include <cassert>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "cfgex/com_error.h"
#include "platform/dom/qualified_name.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/os/file.h"
#include "platform/schema/schema_cache.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/serializer.h"

namespace cfgex::internal {
namespace {

class ParseError final : public Counted<IXMLDOMParseError> {
 public:
  explicit ParseError(ValidationOutcome outcome) : m_Outcome(std::move(outcome)) {}
  long get_errorCode() override { return m_Outcome.code; }
  long get_line() override { return m_Outcome.line; }
  std::wstring get_reason() override { return m_Outcome.reason; }

 private:
  ValidationOutcome m_Outcome;
};

[[maybe_unused]] std::string Joined(const std::vector<std::string_view>& pieces) {
  std::string whole;
  for (const std::string_view piece : pieces) whole += piece;
  return whole;
}

}  // namespace

xmlDoc* EngineDocument(IXMLDOMDocument2* document) {
  auto* object = dynamic_cast<Document*>(document);
  return object != nullptr ? object->Tree() : nullptr;
}

Document::Document() = default;
Document::~Document() = default;

xmlDoc* Document::Tree() {
  if (m_Tree == nullptr) {
    const EngineScope scope;
    m_Tree.reset(xmlNewDoc(XmlChars("1.0")));
    if (m_Tree == nullptr) throw std::bad_alloc();
    m_Tree->_private = this;
  }
  return m_Tree.get();
}

xmlNode* Document::Root() { return xmlDocGetRootElement(Tree()); }

void Document::FixDeclaration(xmlNode* c_element) const {
  if (c_element->type != XML_ELEMENT_NODE) return;
  if (const auto* cache = dynamic_cast<const SchemaCache*>(m_Schemas.get()))
    cache->DeclarationOf(c_element);
}

// --- Settings

void Document::put_async(bool async) {
  if (async) throw _com_error(_com_error::kInvalidArgument, "put_async: true");
}
void Document::put_resolveExternals(bool /*resolve*/) {}
void Document::put_validateOnParse(bool validate) {
  if (validate) throw _com_error(_com_error::kInvalidArgument, "put_validateOnParse: true");
}

// --- Reading and writing

void Document::RequireUnloaded(const char* operation) {
  if (m_IsLoaded || (m_Tree != nullptr && Root() != nullptr))
    throw _com_error(_com_error::kFail, std::string(operation) + ": the document is not empty");
}

bool Document::Adopt(XmlDocPtr tree) {
  if (tree == nullptr) return false;
  tree->_private = this;
  if (m_Tree != nullptr) m_Earlier = std::move(m_Tree);
  m_Tree = std::move(tree);
  m_IsLoaded = true;
  m_Changes.Restart();
  return true;
}

bool Document::load(std::wstring_view path) {
  RequireUnloaded("load");
  if (FaultHere(FaultPoint::kLoad)) return false;
  std::string bytes;
  const std::wstring pathText(path);
  const Reading reading = ReadWholeFile(pathText, bytes, &m_File);
  if (reading == Reading::kFailed) throw FileNotRead();
  if (reading != Reading::kDone) return false;
  return Adopt(ParseXml(bytes, TextEncoding::kDeclared, ToUtf8(path)));
}

bool Document::loadXML(std::wstring_view text) {
  RequireUnloaded("loadXML");
  if (FaultHere(FaultPoint::kLoadXML) || !IsXmlText(text)) return false;
  return Adopt(ParseXml(ToUtf8(text), TextEncoding::kUtf8, {}));
}

void Document::save(std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSave);
  if (Root() == nullptr) throw _com_error(_com_error::kFail, "save: the document is empty");
  const std::vector<std::string_view> text = m_Changes.RenewText(Tree());
  assert(Joined(text) == ToFileText(Tree()));
  // What could not be read back must not take the place of what can.
  std::size_t size = 0;
  for (const std::string_view piece : text) size += piece.size();
  if (size > kLargestFile) throw _com_error(_com_error::kFail, "save: the file is too large");
  m_File = {ReplaceFile(std::wstring(path), text), false};
}

// --- Making nodes

ComPtr<IXMLDOMElement> Document::get_documentElement() {
  xmlNode* c_root = Root();
  return c_root != nullptr ? As<IXMLDOMElement>(Wrap(c_root, nullptr)) : nullptr;
}

ComPtr<IXMLDOMElement> Document::createElement(std::wstring_view tagName) {
  RaiseFaultHere(FaultPoint::kCreateElement);
  const EngineScope scope;
  if (!IsNCName(tagName))
    throw _com_error(_com_error::kInvalidArgument, "createElement: not an XML name");
  const std::string name = ToUtf8(tagName);
  return As<IXMLDOMElement>(WrapNew(NewElement(Tree(), XmlChars(name.c_str()))));
}

ComPtr<IXMLDOMNode> Document::createNode(DomNodeType type, std::wstring_view name,
                                         std::wstring_view namespaceUri) {
  RaiseFaultHere(FaultPoint::kCreateNode);
  const EngineScope scope;
  const PrefixedName qname = SplitName(name);
  const std::string uri = EngineText(namespaceUri);
  const bool isXml = qname.prefix == "xml";
  const bool fits = qname.prefix.empty() == uri.empty() && qname.prefix != "xmlns" &&
                    qname.local != "xmlns" && isXml == (uri == Chars(XML_XML_NAMESPACE));
  if (type != DomNodeType::kAttribute || !fits)
    throw _com_error(_com_error::kInvalidArgument, "createNode: not an attribute's name");

  xmlAttr* c_attr = NewAttribute(Tree(), XmlChars(qname.local.c_str()), {});
  NodePtr node(reinterpret_cast<xmlNode*>(c_attr));
  if (uri.empty()) return WrapNew(node.release());
  c_attr->ns = isXml ? XmlPrefixNs(Tree()) : NewNs(qname.prefix, uri);
  return WrapNew(node.release(), isXml ? nullptr : c_attr->ns);
}

// --- Schemas

void Document::putref_schemas(const ComPtr<IXMLDOMSchemaCollection2>& schemas) {
  RaiseFaultHere(FaultPoint::kPutrefSchemas);
  if (m_Schemas || dynamic_cast<SchemaCache*>(schemas.get()) == nullptr)
    throw _com_error(_com_error::kInvalidArgument, "putref_schemas: bound already, or to nothing");
  m_Schemas = schemas;
}

ComPtr<IXMLDOMSchemaCollection2> Document::get_namespaces() { return m_Schemas; }

ComPtr<IXMLDOMParseError> Document::validate() {
  RaiseFaultHere(FaultPoint::kValidate);
  const auto* cache = dynamic_cast<const SchemaCache*>(m_Schemas.get());
  if (cache == nullptr || Root() == nullptr)
    throw _com_error(_com_error::kFail, "validate: no schemas, or no document");
  return MakeCounted<ParseError>(m_Changes.Validate(Tree(), *cache));
}

}  // namespace cfgex::internal
