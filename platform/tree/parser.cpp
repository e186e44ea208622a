#include "platform/tree/parser.h"

#include <libxml/SAX2.h>
#include <libxml/catalog.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlversion.h>

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

#include "cfgex/com_error.h"
#include "platform/os/fault_point.h"
#include "platform/tree/limits.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// What one run of the parser remembers beside the engine's own state.
struct Run {
  std::string_view rest;  // what the engine has not asked for yet
  ParseObserver* observer = nullptr;
  xmlParserCtxt* c_parser = nullptr;
  bool refused = false;
};

Run& RunOf(xmlParserCtxt* c_parser) { return *static_cast<Run*>(c_parser->_private); }

void NoteRefusal(Run& run, ParseRefusal refusal) {
  run.refused = true;
  if (run.observer != nullptr) run.observer->OnRefused(run.c_parser, refusal);
}

// The engine compares each attribute of a tag with all others, and each prefix with all that are
// declared around it.
bool HasTooManyNamespaces(const xmlParserCtxt* c_parser) {
  constexpr int kCountOfOne = LIBXML_VERSION < 21200 ? 2 : 1;  // a prefix and a URI each, once
  return c_parser->nsNr > kCountOfOne * kMaxElementAttributes;
}

// Hands the engine its text piece by piece, since that alone lets a tag without an end be stopped.
int Read(void* context, char* buffer, int length) {
  Run& run = *static_cast<Run*>(context);
  // The engine has room for five words per attribute, and at most twice as much as it needs.
  const bool tooManyAttributes = run.c_parser->maxatts > 2 * 5 * (kMaxElementAttributes + 10);
  if (tooManyAttributes || HasTooManyNamespaces(run.c_parser)) {
    if (!run.refused) NoteRefusal(run, ParseRefusal::kTooManyAttributes);
    return -1;
  }
  const std::size_t count = std::min(run.rest.size(), static_cast<std::size_t>(length));
  run.rest.copy(buffer, count);
  run.rest.remove_prefix(count);
  return static_cast<int>(count);
}

// The engine takes the text to end before a null character after the root, and before a
// character that is not there as a whole.
void CheckEnd(Run& run) {
  const xmlParserInput* c_input = run.c_parser->input;
  if (!run.rest.empty() || c_input->cur != c_input->end)
    NoteRefusal(run, ParseRefusal::kNullCharacter);
  else if (c_input->buf->raw != nullptr && xmlBufUse(c_input->buf->raw) != 0)
    NoteRefusal(run, ParseRefusal::kPartOfCharacter);
}

void Refuse(xmlParserCtxt* c_parser, ParseRefusal refusal) {
  NoteRefusal(RunOf(c_parser), refusal);
  xmlStopParser(c_parser);
}

void OnError(void* context, EngineError* error) {
  EngineScope::Note(error);
  auto* c_parser = static_cast<xmlParserCtxt*>(context);
  ParseObserver* observer = RunOf(c_parser).observer;
  if (observer != nullptr && error != nullptr) observer->OnError(c_parser, *error);
}

// Comes before anything of the declaration's own content is read.
void OnDocumentType(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
  Refuse(static_cast<xmlParserCtxt*>(context), ParseRefusal::kDocumentType);
}

void OnStartElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                    const xmlChar* uri, int namespaces, const xmlChar** namespaceList,
                    int attributes, int defaulted, const xmlChar** attributeList) {
  auto* c_parser = static_cast<xmlParserCtxt*>(context);
  Run& run = RunOf(c_parser);
  if (c_parser->nodeNr >= kMaxDepth) {
    Refuse(c_parser, ParseRefusal::kTooDeep);
    return;
  }
  if (attributes > kMaxElementAttributes || HasTooManyNamespaces(c_parser)) {
    Refuse(c_parser, ParseRefusal::kTooManyAttributes);
    return;
  }
  xmlSAX2StartElementNs(context, localName, prefix, uri, namespaces, namespaceList, attributes,
                        defaulted, attributeList);
  if (run.observer != nullptr) run.observer->OnElement(c_parser);
}

// The engine has put the catalog that such an instruction names at the end of a list by now, going
// through all of it. Nothing external is read, so no catalog is of use.
void OnProcessingInstruction(void* context, const xmlChar* target, const xmlChar* data) {
  auto* c_parser = static_cast<xmlParserCtxt*>(context);
#ifdef LIBXML_CATALOG_ENABLED
  if (c_parser->catalogs != nullptr) xmlCatalogFreeLocal(c_parser->catalogs);
  c_parser->catalogs = nullptr;
#endif
  xmlSAX2ProcessingInstruction(context, target, data);
}

// Drops the white space between the children of an element that holds elements and no other text.
void DropBlanks(xmlNode* c_element) {
  bool elements = false;
  for (const xmlNode* c_child = c_element->children; c_child != nullptr; c_child = c_child->next) {
    if (IsTextNode(c_child) && xmlIsBlankNode(c_child) == 0) return;
    elements = elements || IsElement(c_child);
  }
  if (!elements) return;
  for (xmlNode* c_child = c_element->children; c_child != nullptr;) {
    xmlNode* c_next = c_child->next;
    if (c_child->type == XML_TEXT_NODE) {
      xmlUnlinkNode(c_child);
      xmlFreeNode(c_child);
    }
    c_child = c_next;
  }
}

void OnEndElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                  const xmlChar* uri) {
  auto* c_parser = static_cast<xmlParserCtxt*>(context);
  xmlNode* c_element = c_parser->node;
  xmlSAX2EndElementNs(context, localName, prefix, uri);
  // The engine's stack of xml:space has 1 on top for "preserve".
  const bool preserve = c_parser->space != nullptr && *c_parser->space == 1;
  if (c_element != nullptr && !preserve) DropBlanks(c_element);
}

void SetUp(xmlParserCtxt* c_parser, TextEncoding encoding, Run& run) {
  // HUGE lifts the engine's own limits, as 10 MB for one text; the nesting is limited here. Without
  // NOENT the "&amp;" of a namespace's name comes in as "&#38;", and once more with each reading;
  // there are no entities but the five of XML, since document type declarations are refused.
  int options =
      XML_PARSE_NONET | XML_PARSE_HUGE | XML_PARSE_COMPACT | XML_PARSE_BIG_LINES | XML_PARSE_NOENT;
  if (encoding == TextEncoding::kUtf8) options |= XML_PARSE_IGNORE_ENC;
  xmlCtxtUseOptions(c_parser, options);
  c_parser->keepBlanks = 1;              // whatever default the application has set
  c_parser->loadsubset |= XML_SKIP_IDS;  // no table of xml:id, that moved nodes would be stale in
  c_parser->_private = &run;
  xmlSAXHandler& handler = *c_parser->sax;
  handler.initialized = XML_SAX2_MAGIC;
  handler.serror = OnError;
  handler.error = nullptr;
  handler.warning = nullptr;
  handler.fatalError = nullptr;
  handler.internalSubset = OnDocumentType;
  handler.startElementNs = OnStartElement;
  handler.endElementNs = OnEndElement;
  handler.processingInstruction = OnProcessingInstruction;
}

// Raises nothing but std::bad_alloc; the caller asks whether the answer counts.
XmlDocPtr ParseOnce(std::string_view bytes, TextEncoding encoding, ParseObserver* observer) {
  if (observer != nullptr) observer->OnStart();
  Run run{.rest = bytes, .observer = observer};
  const std::unique_ptr<xmlParserCtxt, FreedBy<xmlFreeParserCtxt>> parser(
      xmlCreateIOParserCtxt(nullptr, nullptr, Read, nullptr, &run, XML_CHAR_ENCODING_NONE));
  if (parser == nullptr) throw std::bad_alloc();
  run.c_parser = parser.get();
  SetUp(parser.get(), encoding, run);
  xmlParseDocument(parser.get());
  XmlDocPtr document(std::exchange(parser->myDoc, nullptr));
  // Its state is broken then. What else speaks against its answer is looked for outside.
  if (parser->errNo == XML_ERR_NO_MEMORY) throw std::bad_alloc();
  if (parser->wellFormed != 0 && !run.refused) CheckEnd(run);
  if (parser->wellFormed != 0 && parser->nsWellFormed != 0 && !run.refused) return document;
  if (observer != nullptr) observer->OnPart(std::move(document));
  return nullptr;
}

}  // namespace

XmlDocPtr ParseXml(std::string_view bytes, TextEncoding encoding, const std::string& url,
                   ParseObserver* observer) {
  const auto refuse = [observer](ParseRefusal refusal) -> XmlDocPtr {
    if (observer != nullptr) observer->OnRefused(nullptr, refusal);
    return nullptr;
  };
  if (bytes.empty()) return refuse(ParseRefusal::kEmpty);
  if (bytes.size() > INT_MAX) return refuse(ParseRefusal::kTooLong);
  // A null character is no XML; left in, the engine could take the text for UTF-16.
  if (encoding == TextEncoding::kUtf8 && bytes.find('\0') != bytes.npos)
    return refuse(ParseRefusal::kNullCharacter);

  RaiseFaultHere(FaultPoint::kParse);
  const EngineScope scope;
  XmlDocPtr document = AskEngine([&] { return ParseOnce(bytes, encoding, observer); });
  if (document != nullptr && !url.empty()) {
    xmlFree(const_cast<xmlChar*>(document->URL));
    document->URL = xmlStrdup(reinterpret_cast<const xmlChar*>(url.c_str()));
    if (document->URL == nullptr) throw std::bad_alloc();
  }
  return document;
}

}  // namespace cfgex::internal
