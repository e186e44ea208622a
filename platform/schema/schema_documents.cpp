#include "platform/schema/schema_documents.h"

#include <libxml/uri.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <new>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/file.h"
#include "platform/schema/schema_model.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

using FreeText = FreedBy<[](void* text) { xmlFree(text); }>;
using XmlText = std::unique_ptr<xmlChar, FreeText>;

[[noreturn]] void Refuse(const std::string& what, const std::string& why) {
  throw _com_error(_com_error::kFail, "schema document '" + what + "': " + why);
}

// Newer releases of the engine take a location without a scheme for a path, with nothing escaped.
constexpr bool kPathsAreLocations = LIBXML_VERSION >= 21300;

// The local file that a URI names.
std::string PathOfUri(const std::string& text) {
  if (kPathsAreLocations && text.starts_with('/') && !text.starts_with("//")) return text;
  // The raw form: unescaping is left to the end, so that an escaped separator makes no other path.
  using Uri = std::unique_ptr<xmlURI, FreedBy<xmlFreeURI>>;
  const Uri uri = AskEngine([&] { return Uri(xmlParseURIRaw(text.c_str(), 1)); });
  if (uri == nullptr) Refuse(text, "malformed location");
  const std::string_view scheme = uri->scheme == nullptr ? "" : uri->scheme;
  const std::string_view server = uri->server == nullptr ? "" : uri->server;
  if ((!scheme.empty() && scheme != "file") || (!server.empty() && server != "localhost"))
    Refuse(text, "not a local file");
  if (uri->path == nullptr || uri->query_raw != nullptr || uri->query != nullptr ||
      uri->fragment != nullptr || uri->opaque != nullptr)
    Refuse(text, "not the location of a file");
  const std::unique_ptr<char, FreeText> path(xmlURIUnescapeString(uri->path, 0, nullptr));
  if (path == nullptr) throw std::bad_alloc();
  return path.get();
}

// The URI that an xs:include and its like mean, derived as the engine does.
std::string UriOfLink(const xmlNode* c_link) {
  const std::string location = RawAttribute(c_link, "schemaLocation");
  const XmlText uri = AskEngine([&] {
    const XmlText base(xmlNodeGetBase(c_link->doc, c_link));
    return XmlText(xmlBuildURI(XmlChars(location.c_str()), base.get()));
  });
  if (uri == nullptr) Refuse(location, "malformed location");
  return Chars(uri.get());
}

// Whether one of the names in a list of type names is that of a type whose values mean something
// beyond their place. Prefixes are not looked at: a type of the schema's own with such a name makes
// the answer too careful, never wrong.
bool NamesTyingType(std::string_view names) {
  static constexpr std::array<std::string_view, 6> kTying = {"ID",     "IDREF",    "IDREFS",
                                                             "ENTITY", "ENTITIES", "NOTATION"};
  const std::vector<std::string_view> words = Words(names);
  return std::any_of(words.begin(), words.end(), [](std::string_view name) {
    const std::string_view local = name.substr(name.find(':') + 1);
    return std::find(kTying.begin(), kTying.end(), local) != kTying.end();
  });
}

bool TiesPartsTogether(const xmlNode* c_element) {
  for (const char* constraint : {"key", "keyref", "unique"})
    if (IsXsdElement(c_element, constraint)) return true;
  for (const char* attribute : {"type", "base", "itemType", "memberTypes"})
    if (NamesTyingType(RawAttribute(c_element, attribute))) return true;
  return false;
}

}  // namespace

std::string UriOfPath(const std::string& path) {
  std::string absolute = std::filesystem::absolute(path).lexically_normal().string();
  if (kPathsAreLocations) return absolute;
  const XmlText escaped(xmlURIEscapeStr(XmlChars(absolute.c_str()), XmlChars("/")));
  if (escaped == nullptr) throw std::bad_alloc();
  return Chars(escaped.get());
}

std::string RawAttribute(const xmlNode* c_element, const char* name) {
  const xmlAttr* c_attr = xmlHasNsProp(c_element, XmlChars(name), nullptr);
  return c_attr == nullptr ? "" : AttributeValue(c_attr);
}

std::string TokenAttribute(const xmlNode* c_element, const char* name) {
  const std::string text = RawAttribute(c_element, name);
  const std::vector<std::string_view> words = Words(text);
  if (words.empty()) return {};
  return {words.front().data(), words.back().data() + words.back().size()};
}

std::vector<std::string_view> Words(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  std::vector<std::string_view> words;
  std::size_t at = text.find_first_not_of(kBlanks);
  while (at != std::string_view::npos) {
    const std::size_t end = text.find_first_of(kBlanks, at);
    words.push_back(text.substr(at, end - at));
    at = text.find_first_not_of(kBlanks, end);
  }
  return words;
}

bool IsXsdElement(const xmlNode* c_node) {
  return c_node->type == XML_ELEMENT_NODE && c_node->ns != nullptr && c_node->ns->href != nullptr &&
         Chars(c_node->ns->href) == kXsdNamespace;
}

bool IsXsdElement(const xmlNode* c_node, std::string_view name) {
  return IsXsdElement(c_node) && Chars(c_node->name) == name;
}

bool IsSchemaLink(const xmlNode* c_node) {
  return (IsXsdElement(c_node, "include") || IsXsdElement(c_node, "import") ||
          IsXsdElement(c_node, "redefine")) &&
         xmlHasProp(c_node, XmlChars("schemaLocation"));
}

std::string PathOfLink(const xmlNode* c_link) { return PathOfUri(UriOfLink(c_link)); }

SchemaDocuments::SchemaDocuments(xmlDoc* c_schema) {
  if (c_schema == nullptr || xmlDocGetRootElement(c_schema) == nullptr)
    throw _com_error(_com_error::kInvalidArgument, "add: no schema document");
  const std::string path = c_schema->URL == nullptr ? "" : Chars(c_schema->URL);
  if (c_schema->intSubset != nullptr || c_schema->extSubset != nullptr)
    Refuse(path, "has a document type declaration");
  SchemaDocument& main = m_Documents.emplace_back();
  main.doc = AskEngine([c_schema] { return XmlDocPtr(xmlCopyDoc(c_schema, 1)); });
  if (main.doc == nullptr) throw std::bad_alloc();
  if (!path.empty()) {
    const std::string uri = UriOfPath(path);
    xmlFree(const_cast<xmlChar*>(main.doc->URL));
    main.doc->URL = xmlStrdup(XmlChars(uri.c_str()));
    if (main.doc->URL == nullptr) throw std::bad_alloc();
    m_ByUri.emplace(uri, &main);
  }
  for (std::size_t i = 0; i < m_Documents.size(); ++i) {
    SchemaDocument& document = m_Documents[i];
    for (const xmlNode* c_child = document.Root()->children; c_child; c_child = c_child->next)
      if (IsSchemaLink(c_child)) document.links.emplace(c_child, &Load(UriOfLink(c_child)));
  }
}

const SchemaDocument& SchemaDocuments::Load(const std::string& uri) {
  if (const auto known = m_ByUri.find(uri); known != m_ByUri.end()) return *known->second;
  if (m_Documents.size() >= kMaxSchemaDocuments) Refuse(uri, "too many documents");
  std::string bytes;
  std::string path = PathOfUri(uri);
  if (ReadWholeFile(FromUtf8(path), bytes) != Reading::kDone) Refuse(uri, "cannot be read");
  SchemaDocument& document = m_Documents.emplace_back();
  document.path = std::move(path);
  document.doc = ParseXml(bytes, TextEncoding::kDeclared, uri);
  if (document.doc == nullptr || document.Root() == nullptr)
    Refuse(uri, "not well-formed, or with a document type declaration");
  m_ByUri.emplace(uri, &document);
  return document;
}

bool TiesPartsTogether(const SchemaDocuments& documents) {
  return std::any_of(documents.All().begin(), documents.All().end(), [](const auto& document) {
    const xmlNode* c_root = document.Root();
    for (const xmlNode* c_node = c_root; c_node != nullptr; c_node = NextInTree(c_node, c_root))
      if (c_node->type == XML_ELEMENT_NODE && TiesPartsTogether(c_node)) return true;
    return false;
  });
}

}  // namespace cfgex::internal
