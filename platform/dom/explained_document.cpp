// Invariants:
//   1. m_Elements holds a record per element that the parser began, in document order, until the
//      first question for a place sorts it by node.
//   2. A node in m_Elements lives as long as m_pWhole or m_pPart, one of which is its document.
#include "platform/dom/explained_document.h"

#include <libxml/parser.h>

#include <algorithm>
#include <new>
#include <vector>

#include "platform/dom/dom_document.h"
#include "platform/dom/fault_rules.h"
#include "platform/os/encoding.h"
#include "platform/schema/schema_cache.h"
#include "platform/tree/engine.h"
#include "platform/tree/parser.h"

namespace cfgex::internal {
namespace {

struct ElementRecord {
  const xmlNode* c_node;
  int line;
  int column;
};

}  // namespace

class ExplainedDocument::CImpl final : public ParseObserver {
 public:
  CImpl() = default;
  CImpl(const CImpl&) = delete;
  CImpl& operator=(const CImpl&) = delete;
  virtual ~CImpl() = default;

  void Read(std::string_view bytes, TextEncoding encoding, const std::string& url);
  Place PlaceOf(const xmlNode* c_element) const;

  void OnStart() noexcept override;
  void OnElement(xmlParserCtxt* c_parser) noexcept override;
  void OnError(xmlParserCtxt* c_parser, const xmlError& error) noexcept override;
  void OnRefused(xmlParserCtxt* c_parser, ParseRefusal refusal) noexcept override;
  void OnPart(XmlDocPtr part) noexcept override { m_PartTree = std::move(part); }

  ComPtr<IXMLDOMDocument2> m_pWhole;
  std::optional<Fault> m_Refusal;

 private:
  void Remember(xmlParserCtxt* c_parser, Fault fault);
  void BlameNullCharacter(std::string_view bytes);

  XmlDocPtr m_PartTree;
  ComPtr<IXMLDOMDocument2> m_pPart;
  const xmlNode* m_c_open = nullptr;  // the innermost open element at the refusal
  mutable std::vector<ElementRecord> m_Elements;
  mutable bool m_Sorted = false;
  bool m_OutOfMemory = false;
};

void ExplainedDocument::CImpl::Read(std::string_view bytes, TextEncoding encoding,
                                    const std::string& url) {
  const EngineScope scope;
  XmlDocPtr tree = ParseXml(bytes, encoding, url, this);
  if (m_OutOfMemory) throw std::bad_alloc();
  if (tree != nullptr) {
    m_Refusal.reset();  // a complaint that did not lead to refusal
    m_pWhole = MakeCounted<IXMLDOMDocument2>();
    m_pWhole->Adopt(tree.release());
    return;
  }
  if (!m_Refusal) m_Refusal = Fault{.rule = "well-formed", .message = L"This is no XML."};
  BlameNullCharacter(bytes);
  if (m_PartTree == nullptr) return;
  m_pPart = MakeCounted<IXMLDOMDocument2>();
  m_pPart->Adopt(m_PartTree.release());
  m_Refusal->is_partial = true;
  if (m_c_open != nullptr && m_c_open->type == XML_ELEMENT_NODE)
    m_Refusal->element = As<IXMLDOMElement>(Wrap(const_cast<xmlNode*>(m_c_open), nullptr));
}

void ExplainedDocument::CImpl::OnStart() noexcept {
  m_Elements.clear();
  m_PartTree.reset();
  m_Refusal.reset();
  m_c_open = nullptr;
}

// The start tag was read up to its end; it holds no other "<".
void ExplainedDocument::CImpl::OnElement(xmlParserCtxt* c_parser) noexcept {
  const xmlParserInput* c_input = c_parser->input;
  if (c_parser->node == nullptr || c_input == nullptr) return;
  const xmlChar* c_begin = c_input->cur;
  int lines = 0;
  while (c_begin > c_input->base && *c_begin != '<') {
    --c_begin;
    if (*c_begin == '\n') ++lines;
  }
  const auto length = static_cast<int>(c_input->cur - c_begin);
  const int column = lines == 0 ? std::max(0, c_input->col - length) : 0;
  try {
    m_Elements.push_back({c_parser->node, c_input->line - lines, column});
  } catch (const std::bad_alloc&) {
    m_OutOfMemory = true;
    xmlStopParser(c_parser);
  }
}

// The parser takes a null character for the end of its text, and complains of what follows.
void ExplainedDocument::CImpl::BlameNullCharacter(std::string_view bytes) {
  constexpr std::size_t kMark = 4;  // in one of the wider encodings there is one among these
  const std::size_t place = bytes.find('\0');
  if (place == bytes.npos || place < kMark) return;
  const std::string_view before = bytes.substr(0, place);
  const long line = 1 + std::count(before.begin(), before.end(), '\n');
  if (line > m_Refusal->place.line) return;
  const Fault blamed = FaultOf(ParseRefusal::kNullCharacter);
  m_Refusal->rule = blamed.rule;
  m_Refusal->message = blamed.message;
  m_Refusal->place = {line, static_cast<long>(place - (before.rfind('\n') + 1)) + 1};
}

void ExplainedDocument::CImpl::Remember(xmlParserCtxt* c_parser, Fault fault) {
  if (c_parser != nullptr) m_c_open = c_parser->node;
  m_Refusal = std::move(fault);
}

// The first error is the one that tells; the others follow from it.
void ExplainedDocument::CImpl::OnError(xmlParserCtxt* c_parser, const xmlError& error) noexcept {
  if (m_Refusal || error.level < XML_ERR_ERROR) return;
  try {
    Fault fault{.rule = RuleOf(error), .message = MessageOf(error)};
    fault.place = {error.line, error.int2};
    const xmlParserInput* c_input = c_parser->input;
    const bool at_end = c_input == nullptr || c_input->cur >= c_input->end;
    if (at_end && c_parser->node != nullptr) {
      fault.rule = "truncated";
      fault.message = L"The file ends here, in the middle: " + fault.message;
    }
    Remember(c_parser, std::move(fault));
  } catch (const std::bad_alloc&) {
    m_OutOfMemory = true;
  }
}

void ExplainedDocument::CImpl::OnRefused(xmlParserCtxt* c_parser, ParseRefusal refusal) noexcept {
  if (m_Refusal) return;
  try {
    Fault fault = FaultOf(refusal);
    if (c_parser != nullptr && c_parser->input != nullptr)
      fault.place = {c_parser->input->line, c_parser->input->col};
    Remember(c_parser, std::move(fault));
  } catch (const std::bad_alloc&) {
    m_OutOfMemory = true;
  }
}

Place ExplainedDocument::CImpl::PlaceOf(const xmlNode* c_element) const {
  const auto before = [](const ElementRecord& left, const ElementRecord& right) {
    return std::less<>()(left.c_node, right.c_node);
  };
  if (!m_Sorted) std::sort(m_Elements.begin(), m_Elements.end(), before);
  m_Sorted = true;
  const auto found = std::lower_bound(m_Elements.begin(), m_Elements.end(),
                                      ElementRecord{c_element, 0, 0}, before);
  if (found == m_Elements.end() || found->c_node != c_element) return {};
  return {found->line, found->column};
}

ExplainedDocument::ExplainedDocument(std::unique_ptr<CImpl> impl) : m_pImpl(std::move(impl)) {}
ExplainedDocument::ExplainedDocument(ExplainedDocument&&) noexcept = default;
ExplainedDocument& ExplainedDocument::operator=(ExplainedDocument&&) noexcept = default;
ExplainedDocument::~ExplainedDocument() = default;

ExplainedDocument ExplainedDocument::FromBytes(std::string_view bytes, const std::wstring& path) {
  auto impl = std::make_unique<CImpl>();
  impl->Read(bytes, TextEncoding::kDeclared, ToUtf8(path));
  return ExplainedDocument(std::move(impl));
}

ExplainedDocument ExplainedDocument::FromText(std::wstring_view text) {
  auto impl = std::make_unique<CImpl>();
  impl->Read(ToUtf8(text), TextEncoding::kUtf8, {});
  return ExplainedDocument(std::move(impl));
}

ComPtr<IXMLDOMDocument2> ExplainedDocument::Document() const { return m_pImpl->m_pWhole; }

const std::optional<Fault>& ExplainedDocument::Refusal() const { return m_pImpl->m_Refusal; }

Place ExplainedDocument::PlaceOf(const ComPtr<IXMLDOMNode>& element) const {
  return element ? m_pImpl->PlaceOf(element->EngineNode()) : Place{};
}

namespace {

// What the validator says, taken down while it runs.
class Collector {
 public:
  explicit Collector(std::size_t limit) : m_Limit(limit) {}

  struct Complaint {
    std::string rule;
    std::wstring message;
    xmlNode* c_node;
  };

  static void Take(void* self, EngineError* error) noexcept {
    static_cast<Collector*>(self)->Add(error);
  }

  std::vector<Complaint> complaints;
  std::size_t total = 0;
  bool out_of_memory = false;

 private:
  void Add(const xmlError* error) noexcept {
    if (error == nullptr || error->level < XML_ERR_ERROR) return;
    auto* c_node = static_cast<xmlNode*>(error->node);
    const bool repeats = c_node == m_c_last && RepeatsFacet(error->code, m_LastCode);
    m_c_last = c_node;
    m_LastCode = error->code;
    if (repeats || ++total > m_Limit) return;
    try {
      complaints.push_back({RuleOf(*error), MessageOf(*error), c_node});
    } catch (const std::bad_alloc&) {
      out_of_memory = true;
    }
  }

  std::size_t m_Limit;
  const xmlNode* m_c_last = nullptr;
  int m_LastCode = 0;
};

}  // namespace

FaultList ExplainedDocument::Validate(const ComPtr<IXMLDOMSchemaCollection2>& schemas,
                                      std::size_t limit) const {
  const auto* cache = dynamic_cast<const SchemaCache*>(schemas.get());
  if (cache == nullptr || !m_pImpl->m_pWhole)
    throw _com_error(_com_error::kFail, "validate: no schemas, or no document");
  Collector collector(limit);
  const bool valid = AskEngine([&] {
    collector = Collector(limit);
    return cache->Validate(m_pImpl->m_pWhole->Own().tree.get(), &Collector::Take, &collector);
  });
  if (collector.out_of_memory) throw std::bad_alloc();

  FaultList list;
  list.total = collector.total;
  for (Collector::Complaint& complaint : collector.complaints) {
    Fault fault{.rule = std::move(complaint.rule), .message = std::move(complaint.message)};
    xmlNode* c_node = complaint.c_node;
    if (c_node != nullptr && c_node->type == XML_ATTRIBUTE_NODE) {
      fault.attribute = LenientText(reinterpret_cast<const char*>(c_node->name));
      c_node = c_node->parent;
    }
    if (c_node != nullptr && c_node->type == XML_ELEMENT_NODE) {
      fault.place = m_pImpl->PlaceOf(c_node);
      fault.element = As<IXMLDOMElement>(Wrap(c_node, nullptr));
    }
    list.faults.push_back(std::move(fault));
  }
  if (!valid && list.faults.empty()) {
    list.faults.push_back({.rule = "schema", .message = L"The schema refuses the document."});
    list.total = 1;
  }
  return list;
}

Siblings CountSiblings(const ComPtr<IXMLDOMElement>& element) {
  const xmlNode* c_element = element->EngineNode();
  const auto alike = [c_element](const xmlNode* c_node) {
    return c_node->type == XML_ELEMENT_NODE && xmlStrEqual(c_node->name, c_element->name);
  };
  Siblings siblings;
  for (const xmlNode* c_node = c_element->prev; c_node != nullptr; c_node = c_node->prev)
    if (alike(c_node)) ++siblings.number;
  siblings.count = siblings.number;
  for (const xmlNode* c_node = c_element->next; c_node != nullptr; c_node = c_node->next)
    if (alike(c_node)) ++siblings.count;
  return siblings;
}

}  // namespace cfgex::internal
