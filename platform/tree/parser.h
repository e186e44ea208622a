// From text to a tree of the engine, by the rules for everything that the library reads: no
// document type declaration, nothing external, a limit on nesting, no blanks between elements.
#pragma once

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/tree/engine.h"

namespace cfgex::internal {

using XmlDocPtr = std::unique_ptr<xmlDoc, FreedBy<xmlFreeDoc>>;

enum class TextEncoding {
  kDeclared,  // as the text's byte-order mark or XML declaration says, UTF-8 otherwise
  kUtf8,      // UTF-8, whatever the XML declaration says
};

enum class ParseRefusal {
  kEmpty,
  kTooLong,
  kNullCharacter,
  kPartOfCharacter,
  kDocumentType,
  kTooDeep,
  kTooManyAttributes
};

// Is told what the parser meets, for callers that want to know more than that a text was refused.
// The calls come from C code: nothing may be raised.
class ParseObserver {
 public:
  // The parser starts, maybe once more: what was told before counts no longer.
  virtual void OnStart() noexcept = 0;
  // An element was begun; it is `c_parser->node`, and the input is at the end of its start tag.
  virtual void OnElement(xmlParserCtxt* c_parser) noexcept = 0;
  virtual void OnError(xmlParserCtxt* c_parser, const xmlError& error) noexcept = 0;
  // The text is refused by a rule of the library's own. `c_parser` is null if it did not start.
  virtual void OnRefused(xmlParserCtxt* c_parser, ParseRefusal refusal) noexcept = 0;
  // What was made of a text that is refused; null if nothing was.
  virtual void OnPart(XmlDocPtr part) noexcept = 0;

 protected:
  ~ParseObserver() = default;
};

// Parses a text as IXMLDOMDocument2::load says; none when it is refused. `url` becomes the URL of
// the document: the path of its file in UTF-8, or empty. `observer` may be null.
XmlDocPtr ParseXml(std::string_view bytes, TextEncoding encoding, const std::string& url,
                   ParseObserver* observer = nullptr);

}  // namespace cfgex::internal
