#include "fuzz/support.h"

#include <libxml/parser.h>
#include <libxml/xmlschemas.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "platform/os/encoding.h"
#include "platform/schema/schema_cache.h"
#include "platform/tree/nodes.h"
#include "tests/support/dom.h"
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

namespace {

struct FreeEngine {
  void operator()(xmlParserCtxt* parser) const { xmlFreeParserCtxt(parser); }
  void operator()(xmlSchemaParserCtxt* parser) const { xmlSchemaFreeParserCtxt(parser); }
  void operator()(xmlSchemaValidCtxt* validator) const { xmlSchemaFreeValidCtxt(validator); }
};
template <class T>
using Owned = std::unique_ptr<T, FreeEngine>;

bool IsTooDeep(const xmlNode* root) {
  for (const xmlNode* node = root; node != nullptr; node = NextInTree(node, root)) {
    int depth = 0;
    for (const xmlNode* at = node; at->type == XML_ELEMENT_NODE; at = at->parent)
      if (++depth > kMaxDepth) return true;
  }
  return false;
}

// The document that stands in the bytes; none if it is not one that may be loaded.
XmlDocPtr Parse(const std::string& bytes, bool isUtf8) {
  if (bytes.empty() || (isUtf8 && bytes.find('\0') != bytes.npos)) return nullptr;
  const Owned<xmlParserCtxt> parser(xmlNewParserCtxt());
  const int options = XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                      XML_PARSE_NOENT;  // else it reads names of namespaces wrong
  XmlDocPtr document(xmlCtxtReadMemory(parser.get(), bytes.data(), static_cast<int>(bytes.size()),
                                       nullptr, isUtf8 ? "UTF-8" : nullptr, options));
  if (document == nullptr || parser->nsWellFormed == 0) return nullptr;
  if (document->intSubset != nullptr) return nullptr;
  // The engine passes over what follows a null character behind the root, and over a part of one.
  const xmlParserInput& input = *parser->input;
  if (input.cur != input.end || (input.buf->raw != nullptr && xmlBufUse(input.buf->raw) != 0))
    return nullptr;
  if (IsTooDeep(xmlDocGetRootElement(document.get()))) return nullptr;
  return document;
}

constexpr const char* kRichStart =
    "<Configuration><Category><P><InstanceId>a</InstanceId><Text/><Ref><Category>Q</Category>"
    "<InstanceId>b</InstanceId></Ref></P><P><InstanceId>c</InstanceId></P></Category>"
    "<Category><Q rank=\"1\"><InstanceId>b</InstanceId><Number>1.5</Number></Q>"
    "<Q rank=\"2\"><InstanceId>d</InstanceId><Ref><Category>P</Category><InstanceId>a</InstanceId>"
    "</Ref></Q><Any><InstanceId>e</InstanceId>text<x/></Any></Category></Configuration>";

std::string RichSchema(bool withTies) {
  std::string schema = test::SchemaText("rich.xsd");
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
  const std::string folder = CFGEX_EXAMPLES "/building/";
  std::string schema = test::ReadBytes(test::Wide(folder + "building.xsd"));
  return schema.insert(schema.find("cfgex-types.xsd"), folder);
}

}  // namespace

struct Kit::Engine {
  XmlSchemaPtr schema;

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
  try {
    return m_Engine->IsValid(Parse(ToUtf8(text), true).get());
  } catch (const _com_error&) {  // no characters
    return false;
  }
}

std::multiset<Pair> Kit::Contents(const std::wstring& path) const {
  std::multiset<Pair> contents;
  const test::DocumentPtr document = test::NewDocument();
  if (!document->load(path)) return contents;
  for (const test::Node& id :
       test::Select(document, L"/Configuration/Category/*[namespace-uri() = '']/InstanceId"))
    contents.emplace(As<IXMLDOMElement>(id->get_parentNode())->get_tagName(), id->get_text());
  return contents;
}

std::wstring ElementXml(const CCfgObject& object) {
  const auto element = As<IXMLDOMElement>(object.GetRawInterface());
  return element ? element->get_xml() : L"";
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

// Temporary folders of each target are in memory, if the system has such a place.
extern "C" int LLVMFuzzerInitialize(int*, char***);
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
  return 0;
}
