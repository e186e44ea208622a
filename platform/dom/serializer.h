// From a tree of the engine to text. It is the library's own: the engine's serializer obeys
// settings that the application may change.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace cfgex {

class FileText;

// The node as XML in UTF-8, nothing added. Of a document: its top-level nodes, without a
// declaration.
std::string ToXml(const xmlNode* c_node);

// The document as the text of a file: with an XML declaration, two blanks per level, LF.
// Elements that hold text beside elements, and those under xml:space="preserve", are written as
// they are. Reading this text and writing it again gives the same bytes.
std::string ToFileText(const xmlDoc* c_document);

// The same text, put together from what `text` keeps and from what has changed since.
const std::string& RenewFileText(const xmlDoc* c_document, FileText& text);

}  // namespace cfgex
