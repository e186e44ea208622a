// The documents that a schema consists of, loaded before anything is done with them.
#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/tree/parser.h"

namespace cfgex::internal {

// The value of an attribute without namespace, empty where there is none: as it is, and with the
// blanks around it gone.
std::string RawAttribute(const xmlNode* c_element, const char* name);
std::string TokenAttribute(const xmlNode* c_element, const char* name);
// The words of a text between blanks; views of the text.
std::vector<std::string_view> Words(std::string_view text);
// Whether the node is an element of the schema language, and has this name.
bool IsXsdElement(const xmlNode* c_node, std::string_view name);
bool IsXsdElement(const xmlNode* c_node);

// Whether the node is an xs:include, xs:import or xs:redefine that names a place.
bool IsSchemaLink(const xmlNode* c_node);
// The local file that such an element names. Raises _com_error if it names anything else.
std::string PathOfLink(const xmlNode* c_link);
// A path as the engine writes it in a URI, so that the locations which it derives from it are the
// same texts.
std::string UriOfPath(const std::string& path);

struct SchemaDocument {
  std::string path;  // of its file; empty for the main document
  XmlDocPtr doc;
  // What its xs:include, xs:import and xs:redefine elements refer to. An import that names no
  // place is not in it.
  std::unordered_map<const xmlNode*, const SchemaDocument*> links;

  const xmlNode* Root() const { return xmlDocGetRootElement(doc.get()); }
};

// How many documents one schema may have.
inline constexpr std::size_t kMaxSchemaDocuments = 10'000;

// A schema document and all that it refers to, through any number of steps. Each of them is a
// readable local file that is well-formed and has no document type declaration, so whatever reads
// the schema afterwards by the same rules meets nothing external. Anything else raises _com_error.
// Relative locations are resolved against the document that they are in.
class SchemaDocuments {
 public:
  // Works on a copy of `c_schema`, whose URL is the path of its file or empty.
  explicit SchemaDocuments(xmlDoc* c_schema);

  const SchemaDocument& Main() const { return m_Documents.front(); }
  const std::deque<SchemaDocument>& All() const { return m_Documents; }
  // Hands over the copy. The links of the main document must not be used any more.
  XmlDocPtr TakeMain() { return std::move(m_Documents.front().doc); }

 private:
  const SchemaDocument& Load(const std::string& uri);

  std::deque<SchemaDocument> m_Documents;  // breadth first; the main one is the first
  std::unordered_map<std::string, const SchemaDocument*> m_ByUri;
};

// Whether the schema says anything that ties parts of a document together wherever they are:
// xs:key, xs:keyref, xs:unique, or a type made from ID, IDREF and their like. Under any other
// schema a document is valid exactly when each of its parts is.
bool TiesPartsTogether(const SchemaDocuments& documents);

}  // namespace cfgex::internal
