// From text to a tree of the engine, by the rules for everything that the library reads: no
// document type declaration, nothing external, a limit on nesting, no blanks between elements.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <string_view>

namespace cfgex {

struct FreeXmlDoc {
  void operator()(xmlDoc* doc) const noexcept { xmlFreeDoc(doc); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, FreeXmlDoc>;

enum class TextEncoding {
  kDeclared,  // as the text's byte-order mark or XML declaration says, UTF-8 otherwise
  kUtf8,      // UTF-8, whatever the XML declaration says
};

// Parses a text as IXMLDOMDocument::load says; none when it is refused. `url` becomes the URL of
// the document: the path of its file in UTF-8, or empty.
XmlDocPtr ParseXml(std::string_view bytes, TextEncoding encoding, const std::string& url);

}  // namespace cfgex
