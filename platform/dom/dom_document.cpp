#include "platform/dom/dom_document.h"

#include <cassert>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cfgex/com_error.h"
#include "platform/dom/path.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/os/file.h"
#include "platform/schema/schema_cache.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"
#include "platform/tree/serializer.h"

namespace cfgex::internal {
namespace {

[[maybe_unused]] std::string Joined(const std::vector<std::string_view>& pieces) {
  std::string whole;
  for (const std::string_view piece : pieces) whole += piece;
  return whole;
}

[[maybe_unused]] std::string PathTo(const MemberNames& names, const std::string& name) {
  return std::string("/") + names.root + "/" + names.group + "/" + name;
}

}  // namespace

IXMLDOMDocument2::IXMLDOMDocument2() : IXMLDOMNode(nullptr), m_pState(std::make_unique<State>()) {
  const EngineScope scope;
  XmlDocPtr empty(xmlNewDoc(XmlChars("1.0")));
  if (empty == nullptr) throw std::bad_alloc();
  Own().tree = std::move(empty);
  SetTree();
}

IXMLDOMDocument2::~IXMLDOMDocument2() { m_c_node = nullptr; }

void IXMLDOMDocument2::SetTree() noexcept {
  m_c_node = reinterpret_cast<xmlNode*>(Own().tree.get());
  m_c_node->_private = static_cast<IXMLDOMNode*>(this);
}

const SchemaCache* IXMLDOMDocument2::State::Schemas() const noexcept {
  return dynamic_cast<const SchemaCache*>(schemas.get());
}

void IXMLDOMDocument2::State::FixDeclaration(xmlNode* c_element) const {
  if (IsElement(c_element) && Schemas() != nullptr) Schemas()->DeclarationOf(c_element);
}

// --- Settings

void IXMLDOMDocument2::put_async(bool async) {
  if (async) throw _com_error(_com_error::kInvalidArgument, "put_async: true");
}
void IXMLDOMDocument2::put_validateOnParse(bool validate) {
  if (validate) throw _com_error(_com_error::kInvalidArgument, "put_validateOnParse: true");
}

// --- Reading and writing

namespace {

void RequireUnloaded(const IXMLDOMDocument2::State& state, const char* operation) {
  if (state.isLoaded || state.Root() != nullptr)
    throw _com_error(_com_error::kFail, std::string(operation) + ": the document is not empty");
}

}  // namespace

bool IXMLDOMDocument2::Adopt(xmlDoc* c_tree) {
  if (c_tree == nullptr) return false;
  Own().earlier = std::exchange(Own().tree, XmlDocPtr(c_tree));
  SetTree();
  Own().isLoaded = true;
  Own().changes.Restart();
  return true;
}

bool IXMLDOMDocument2::load(std::wstring_view path) {
  RequireUnloaded(Own(), "load");
  if (FaultHere(FaultPoint::kLoad)) return false;
  std::string bytes;
  const Reading reading = ReadWholeFile(std::wstring(path), bytes, &Own().file);
  if (reading == Reading::kFailed) throw FileNotRead();
  if (reading != Reading::kDone) return false;
  return Adopt(ParseXml(bytes, TextEncoding::kDeclared, ToUtf8(path)).release());
}

bool IXMLDOMDocument2::loadXML(std::wstring_view text) {
  RequireUnloaded(Own(), "loadXML");
  if (FaultHere(FaultPoint::kLoadXML) || !IsXmlText(text)) return false;
  return Adopt(ParseXml(ToUtf8(text), TextEncoding::kUtf8, {}).release());
}

void IXMLDOMDocument2::save(std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSave);
  const xmlDoc* c_document = Own().tree.get();
  if (Own().Root() == nullptr) throw _com_error(_com_error::kFail, "save: the document is empty");
  const std::vector<std::string_view> text = Own().changes.RenewText(c_document);
  assert(Joined(text) == ToFileText(c_document));
  // What could not be read back must not take the place of what can.
  std::size_t size = 0;
  for (const std::string_view piece : text) size += piece.size();
  if (size > kLargestFile) throw _com_error(_com_error::kFail, "save: the file is too large");
  Own().file = {ReplaceFile(std::wstring(path), text), false};
}

const FileState& IXMLDOMDocument2::get_file() const noexcept { return m_pState->file; }

// --- Nodes

ComPtr<IXMLDOMElement> IXMLDOMDocument2::get_documentElement() {
  xmlNode* c_root = Own().Root();
  return c_root != nullptr ? As<IXMLDOMElement>(Wrap(c_root, nullptr)) : nullptr;
}

ComPtr<IXMLDOMElement> IXMLDOMDocument2::createElement(std::wstring_view tagName) {
  RaiseFaultHere(FaultPoint::kCreateElement);
  const EngineScope scope;
  if (!IsNCName(tagName))
    throw _com_error(_com_error::kInvalidArgument, "createElement: not an XML name");
  const std::string name = ToUtf8(tagName);
  return As<IXMLDOMElement>(WrapNew(NewElement(Own().tree.get(), XmlChars(name.c_str()))));
}

// --- Members

ComPtr<IXMLDOMElement> IXMLDOMDocument2::FirstMember(const MemberNames& names,
                                                     std::wstring_view name) {
  RaiseFaultHere(FaultPoint::kSelectSingleNode);
  const std::string utf8 = ToUtf8(name);
  xmlNode* c_found = Own().changes.Index(Own().tree.get(), names).First(utf8);
  assert(IsAsXPathAnswers(c_found != nullptr ? std::vector{c_found} : std::vector<xmlNode*>(),
                          Own().tree.get(), "(" + PathTo(names, utf8) + ")[1]"));
  return c_found != nullptr ? As<IXMLDOMElement>(Wrap(c_found, nullptr)) : nullptr;
}

namespace {

std::vector<xmlNode*> FindMembers(IXMLDOMDocument2::State& document, const MemberNames& names,
                                  std::wstring_view name, std::wstring_view value) {
  const std::string utf8Name = ToUtf8(name);
  const std::string utf8Value = ToUtf8(value);
  std::vector<xmlNode*> members =
      document.changes.Index(document.tree.get(), names).WithKey(utf8Name, utf8Value);
  assert(IsAsXPathAnswers(members, document.tree.get(),
                          PathTo(names, utf8Name) + "[" + names.key + "='" + utf8Value + "']"));
  return members;
}

}  // namespace

ComPtr<IXMLDOMElement> IXMLDOMDocument2::MemberWithKey(const MemberNames& names,
                                                       std::wstring_view name,
                                                       std::wstring_view value) {
  RaiseFaultHere(FaultPoint::kSelectSingleNode);
  const std::vector<xmlNode*> members = FindMembers(Own(), names, name, value);
  return members.empty() ? nullptr : As<IXMLDOMElement>(Wrap(members.front(), nullptr));
}

ComPtr<IXMLDOMNodeList> IXMLDOMDocument2::KeysInMember(const MemberNames& names,
                                                       std::wstring_view name,
                                                       std::wstring_view value) {
  RaiseFaultHere(FaultPoint::kSelectNodes);
  std::vector<ComPtr<IXMLDOMNode>> keys;
  for (xmlNode* c_member : FindMembers(Own(), names, name, value))
    for (xmlNode* c_node = NextInTree(c_member, c_member); c_node != nullptr;
         c_node = NextInTree(c_node, c_member))
      if (IsNamed(c_node, names.key)) keys.push_back(Wrap(c_node, nullptr));
  return MakeCounted<IXMLDOMNodeList>(std::move(keys));
}

// --- Schemas

void IXMLDOMDocument2::putref_schemas(const ComPtr<IXMLDOMSchemaCollection2>& schemas) {
  RaiseFaultHere(FaultPoint::kPutrefSchemas);
  if (Own().schemas || dynamic_cast<SchemaCache*>(schemas.get()) == nullptr)
    throw _com_error(_com_error::kInvalidArgument, "putref_schemas: bound already, or to nothing");
  Own().schemas = schemas;
}

ComPtr<IXMLDOMSchemaCollection2> IXMLDOMDocument2::get_namespaces() const {
  return m_pState->schemas;
}

ComPtr<IXMLDOMParseError> IXMLDOMDocument2::validate() {
  RaiseFaultHere(FaultPoint::kValidate);
  const SchemaCache* cache = Own().Schemas();
  if (cache == nullptr || Own().Root() == nullptr)
    throw _com_error(_com_error::kFail, "validate: no schemas, or no document");
  ValidationOutcome outcome = Own().changes.Validate(Own().tree.get(), *cache);
  return MakeCounted<IXMLDOMParseError>(outcome.code, outcome.line, std::move(outcome.reason));
}

}  // namespace cfgex::internal
