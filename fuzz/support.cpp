#include "fuzz/support.h"

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>
#include <libxml/xpath.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/dom/dom.h"
#include "platform/os/encoding.h"
#include "tests/support/sample.h"

namespace fuzz {

void Fail(const char* file, int line, const char* condition, const std::string& what) {
  std::fprintf(stderr, "%s:%d: does not hold: %s\n%s\n", file, line, condition, what.c_str());
  std::abort();
}

std::vector<std::string> Split(std::string_view input) {
  static constexpr std::string_view kLine = "\n%%\n";
  std::vector<std::string> parts;
  for (std::size_t end; (end = input.find(kLine)) != input.npos;
       input.remove_prefix(end + kLine.size()))
    parts.emplace_back(input.substr(0, end));
  parts.emplace_back(input);
  return parts;
}

std::wstring Text(std::string_view bytes) {
  std::wstring text;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const std::size_t more = lead >= 0xf0 ? 3 : lead >= 0xe0 ? 2 : lead >= 0xc0 ? 1 : 0;
    std::uint32_t character = more == 0 ? lead : lead & (0x3fU >> more);
    std::size_t read = 1;
    for (; read <= more && i + read < bytes.size(); ++read) {
      const auto next = static_cast<unsigned char>(bytes[i + read]);
      if ((next & 0xc0) != 0x80) break;
      character = (character << 6) | (next & 0x3fU);
    }
    if (read <= more) {
      character = lead;
      read = 1;
    }
    if (character != 0) text += static_cast<wchar_t>(character);
    i += read;
  }
  return text;
}

std::string Show(std::wstring_view text) {
  std::string shown;
  for (const wchar_t c : text) {
    char number[16];
    std::snprintf(number, sizeof number, "\\x{%x}", static_cast<unsigned>(c));
    if (c == L'\n' || (c >= L' ' && c < 0x7f)) {
      shown += static_cast<char>(c);
    } else {
      shown += number;
    }
  }
  return shown;
}

std::size_t Choices::Below(std::size_t end) {
  if (m_Bytes.empty() || end == 0) return 0;
  const auto byte = static_cast<unsigned char>(m_Bytes.front());
  m_Bytes.remove_prefix(1);
  return byte % end;
}

std::uint32_t Choices::Number() {
  std::uint32_t number = 0;
  for (int i = 0; i < 4; ++i) number = (number << 8) | static_cast<std::uint32_t>(Below(256));
  return number;
}

std::string_view Choices::Piece() {
  const std::size_t end = std::min(m_Bytes.find('\0'), m_Bytes.size());
  const std::string_view piece = m_Bytes.substr(0, end);
  m_Bytes.remove_prefix(std::min(end + 1, m_Bytes.size()));
  return piece;
}

void UseMemoryForFiles() {
  if (std::getenv("TMPDIR") == nullptr && std::filesystem::is_directory("/dev/shm"))
    setenv("TMPDIR", "/dev/shm", 1);
}

namespace {

struct FreeEngine {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
  void operator()(xmlSchema* schema) const { xmlSchemaFree(schema); }
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
  void operator()(xmlSchemaParserCtxt* parser) const { xmlSchemaFreeParserCtxt(parser); }
  void operator()(xmlSchemaValidCtxt* validator) const { xmlSchemaFreeValidCtxt(validator); }
  void operator()(xmlXPathContext* context) const { xmlXPathFreeContext(context); }
  void operator()(xmlXPathObject* object) const { xmlXPathFreeObject(object); }
};
template <class T>
using Owned = std::unique_ptr<T, FreeEngine>;

int Depth(const xmlNode* root) {
  int deepest = 0;
  int depth = 0;
  for (const xmlNode* node = root; node != nullptr;) {
    if (node->type == XML_ELEMENT_NODE) deepest = std::max(deepest, depth + 1);
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
      node = node->children;
      ++depth;
      continue;
    }
    while (node != root && node->next == nullptr) {
      node = node->parent;
      --depth;
    }
    if (node == root) break;
    node = node->next;
  }
  return deepest;
}

// The document that stands in the bytes; none if it is not one that may be loaded.
Owned<xmlDoc> Parse(const std::string& bytes, bool isUtf8) {
  if (bytes.empty() || (isUtf8 && bytes.find('\0') != bytes.npos)) return nullptr;
  const Owned<xmlParserCtxt> parser(xmlNewParserCtxt());
  const int options = XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                      XML_PARSE_NOENT;  // else it reads names of namespaces wrong
  Owned<xmlDoc> document(xmlCtxtReadMemory(parser.get(), bytes.data(),
                                           static_cast<int>(bytes.size()), nullptr,
                                           isUtf8 ? "UTF-8" : nullptr, options));
  if (document == nullptr || parser->nsWellFormed == 0) return nullptr;
  if (document->intSubset != nullptr) return nullptr;
  // The engine passes over what follows a null character behind the root, and over a part of one.
  const xmlParserInput& input = *parser->input;
  if (input.cur != input.end || (input.buf->raw != nullptr && xmlBufUse(input.buf->raw) != 0))
    return nullptr;
  if (Depth(xmlDocGetRootElement(document.get())) > kMaxDepth) return nullptr;
  return document;
}

// All that XML Schema offers and the other schemas do not use. Between the marks stand the rules
// that tie parts of a document together.
constexpr const char* kRichSchema = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"
    version="3.2.1.0">
  <xs:element name="Configuration">
    <xs:complexType>
      <xs:sequence>
        <xs:element name="Category" minOccurs="0" maxOccurs="unbounded">
          <xs:complexType>
            <xs:choice minOccurs="0" maxOccurs="unbounded">
              <xs:element ref="P"/><xs:element ref="Q"/><xs:element ref="Any"/>
            </xs:choice>
          </xs:complexType>
        </xs:element>
      </xs:sequence>
      <xs:attribute name="instance_id" type="xs:string"/>
      <xs:attribute name="major_version" type="xs:int"/>
      <xs:attribute name="minor_version" type="xs:int"/>
      <xs:attribute name="revision" type="xs:int"/>
      <xs:anyAttribute processContents="lax"/>
    </xs:complexType>
<!--{-->
    <xs:key name="Ids"><xs:selector xpath="Category/P|Category/Q"/><xs:field xpath="InstanceId"/></xs:key>
    <xs:keyref name="Refs" refer="Ids"><xs:selector xpath=".//Ref"/><xs:field xpath="InstanceId"/></xs:keyref>
    <xs:unique name="Ranks"><xs:selector xpath=".//Q"/><xs:field xpath="@rank"/></xs:unique>
<!--}-->
  </xs:element>
  <xs:element name="P" type="ItemType"/>
  <xs:element name="Q"><xs:complexType><xs:complexContent><xs:extension base="ItemType">
    <xs:sequence>
      <xs:element ref="Head" minOccurs="0" maxOccurs="3"/>
      <xs:choice minOccurs="0"><xs:element name="A" type="xs:int"/><xs:element name="B" nillable="true" type="xs:date"/></xs:choice>
      <xs:any namespace="##other" processContents="lax" minOccurs="0"/>
    </xs:sequence>
    <xs:attribute name="rank" type="xs:positiveInteger"/>
<!--{-->
    <xs:attribute name="mark" type="xs:ID"/>
    <xs:attribute name="marks" type="xs:IDREFS"/>
<!--}-->
  </xs:extension></xs:complexContent></xs:complexType></xs:element>
  <xs:element name="Any"><xs:complexType mixed="true">
    <xs:sequence>
      <xs:element name="InstanceId" type="InstanceIdType"/>
      <xs:any processContents="skip" minOccurs="0" maxOccurs="unbounded"/>
    </xs:sequence>
    <xs:anyAttribute processContents="skip"/>
  </xs:complexType></xs:element>
  <xs:element name="Head" type="xs:anySimpleType"/>
  <xs:element name="Number" substitutionGroup="Head" type="xs:decimal"/>
  <xs:element name="List" substitutionGroup="Head"><xs:simpleType><xs:list itemType="UnionType"/></xs:simpleType></xs:element>
  <xs:simpleType name="UnionType"><xs:union memberTypes="xs:boolean xs:duration"/></xs:simpleType>
  <xs:simpleType name="InstanceIdType"><xs:restriction base="xs:string"/></xs:simpleType>
  <xs:complexType name="ReferenceType"><xs:sequence>
    <xs:element name="Category" type="xs:string" minOccurs="0"/>
    <xs:element name="InstanceId" type="xs:string" minOccurs="0"/>
  </xs:sequence></xs:complexType>
  <xs:complexType name="EmbeddedObjectType" abstract="true"/>
  <xs:complexType name="PartType"><xs:complexContent><xs:extension base="EmbeddedObjectType"><xs:sequence>
    <xs:element name="Label" type="xs:string" minOccurs="0" default="l"/>
    <xs:element name="Ref" type="ReferenceType" minOccurs="0"/>
    <xs:element name="Part" type="EmbeddedObjectType" minOccurs="0"/>
  </xs:sequence></xs:extension></xs:complexContent></xs:complexType>
  <xs:complexType name="ItemType"><xs:sequence>
    <xs:element name="InstanceId" type="InstanceIdType"/>
    <xs:element name="Text" nillable="true" type="xs:string" minOccurs="0" maxOccurs="2"/>
    <xs:element name="Fixed" type="xs:string" fixed="f" minOccurs="0"/>
    <xs:element name="Raw" minOccurs="0"/>
    <xs:element name="Ref" type="ReferenceType" minOccurs="0" maxOccurs="2"/>
    <xs:element name="Part" type="EmbeddedObjectType" minOccurs="0"/>
    <xs:element name="When" type="xs:dateTime" minOccurs="0"/>
  </xs:sequence></xs:complexType>
</xs:schema>)";

constexpr const char* kRichStart =
    "<Configuration><Category><P><InstanceId>a</InstanceId><Text/><Ref><Category>Q</Category>"
    "<InstanceId>b</InstanceId></Ref></P><P><InstanceId>c</InstanceId></P></Category>"
    "<Category><Q rank=\"1\"><InstanceId>b</InstanceId><Number>1.5</Number></Q>"
    "<Q rank=\"2\"><InstanceId>d</InstanceId><Ref><Category>P</Category><InstanceId>a</InstanceId>"
    "</Ref></Q><Any><InstanceId>e</InstanceId>text<x/></Any></Category></Configuration>";

std::string RichSchema(bool withTies) {
  std::string schema = kRichSchema;
  static const std::string kEnd = "<!--}-->";
  for (std::size_t from; !withTies && (from = schema.find("<!--{-->")) != schema.npos;)
    schema.erase(from, schema.find(kEnd) + kEnd.size() - from);
  return schema;
}

std::string SampleStart() {
  using namespace test;
  return Narrow(Configuration(
      {Item(L"P", L"a",
            L"<Name>x</Name>" + RefTo(L"Q", L"b") + RefsTo({{L"R", L"c"}, {L"Q", L"b"}})) +
           Item(L"P", L"d", L"<Part><Label>l</Label>" + RefTo(L"R", L"e") + L"</Part>"),
       Item(L"Q", L"b", RefTo(L"R", L"c")) + Item(L"Q", L"f", RefTo(L"P", L"a")),
       Item(L"R", L"c") + Item(L"R", L"e", RefTo(L"P", L"d"))}));
}

std::string BuildingSchema() {
  std::string schema = test::ReadBytes(test::Wide(CFGEX_EXAMPLES "/building/building.xsd"));
  std::string types = test::ReadBytes(test::Wide(CFGEX_EXAMPLES "/building/cfgex-types.xsd"));
  // One file: the text of the included schema without its root in the place of the include.
  static const std::string kInclude = "<xs:include schemaLocation=\"cfgex-types.xsd\"/>";
  const std::size_t root = types.find("<xs:schema");
  types = types.substr(types.find('>', root) + 1);
  types.erase(types.rfind("</xs:schema>"));
  schema.replace(schema.find(kInclude), kInclude.size(), types);
  return schema;
}

}  // namespace

struct Kit::Engine {
  Owned<xmlSchema> schema;

  bool IsValid(xmlDoc* document) const {
    if (document == nullptr) return false;
    const Owned<xmlSchemaValidCtxt> validator(xmlSchemaNewValidCtxt(schema.get()));
    xmlSchemaSetValidStructuredErrors(
        validator.get(), [](void*, xmlErrorPtr) {}, nullptr);
    return xmlSchemaValidateDoc(validator.get(), document) == 0;
  }
};

Kit& Kit::For(char letter) {
  static std::map<char, std::unique_ptr<Kit>> s_Kits;
  if (std::strchr("brt", letter) == nullptr || letter == '\0') letter = 's';
  std::unique_ptr<Kit>& kit = s_Kits[letter];
  if (kit != nullptr) return *kit;
  kit = std::make_unique<Kit>(letter == 'b'   ? BuildingSchema()
                              : letter == 's' ? test::kSampleSchema
                                              : RichSchema(letter == 't'));
  kit->hasTies = letter == 't';
  kit->start = letter == 'b' ? "<Configuration/>" : letter == 's' ? SampleStart() : kRichStart;
  return *kit;
}

Kit::Kit(const std::string& schema) : m_Engine(std::make_unique<Engine>()) {
  const std::wstring path = Path(L"schema.xsd");
  test::WriteBytes(path, schema);
  CHECK(option.Initialize(path.c_str()), schema);
  const Owned<xmlSchemaParserCtxt> parser(xmlSchemaNewParserCtxt(test::Narrow(path).c_str()));
  m_Engine->schema.reset(xmlSchemaParse(parser.get()));
  CHECK(m_Engine->schema != nullptr, schema);
}

Kit::~Kit() = default;

void Kit::Clear() {
  for (const auto& entry : std::filesystem::directory_iterator(m_Folder.Root()))
    if (entry.path().filename() != "schema.xsd") std::filesystem::remove_all(entry.path());
}

bool Kit::IsValidFile(const std::wstring& path) const {
  return m_Engine->IsValid(Parse(test::ReadBytes(path), false).get());
}

bool Kit::IsValidText(const std::wstring& text) const {
  const std::optional<std::string> bytes = [&]() -> std::optional<std::string> {
    try {
      return ToUtf8(text);
    } catch (const _com_error&) {
      return std::nullopt;
    }
  }();
  return bytes && m_Engine->IsValid(Parse(*bytes, true).get());
}

std::multiset<Pair> Kit::Contents(const std::wstring& path) const {
  std::multiset<Pair> contents;
  const Owned<xmlDoc> document = Parse(test::ReadBytes(path), false);
  if (document == nullptr) return contents;
  const Owned<xmlXPathContext> context(xmlXPathNewContext(document.get()));
  const Owned<xmlXPathObject> found(xmlXPathEval(
      BAD_CAST "/Configuration/Category/*[namespace-uri() = '']/InstanceId", context.get()));
  if (found == nullptr || found->nodesetval == nullptr) return contents;
  for (int i = 0; i < found->nodesetval->nodeNr; ++i) {
    xmlNode* node = found->nodesetval->nodeTab[i];
    xmlChar* text = xmlNodeGetContent(node);
    contents.emplace(test::Wide(reinterpret_cast<const char*>(node->parent->name)),
                     test::Wide(reinterpret_cast<const char*>(text)));
    xmlFree(text);
  }
  return contents;
}

Snapshot Take(CCfgConfigurationEx& store, const std::set<Pair>& names) {
  Snapshot snapshot;
  for (const auto& [category, id] : names)
    for (const std::wstring& asked : {category, std::wstring(L"*")}) {
      OS::x_wstring xml;
      const bool found = store.GetConfiguration(id.c_str(), asked.c_str(), xml);
      snapshot[{asked, id}] = found ? std::optional(xml.str()) : std::nullopt;
    }
  return snapshot;
}

std::string Difference(const Snapshot& before, const Snapshot& after) {
  for (const auto& [name, xml] : before) {
    const auto found = after.find(name);
    if (found != after.end() && found->second == xml) continue;
    return Show(name.first + L":" + name.second) + "\n  before " + Show(xml.value_or(L"(none)")) +
           "\n  after  " +
           (found == after.end() ? "not asked" : Show(found->second.value_or(L"(none)")));
  }
  return "";
}

}  // namespace fuzz
