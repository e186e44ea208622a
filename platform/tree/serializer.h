// From a tree of the engine to text. It is the library's own: the engine's serializer obeys
// settings that the application may change.
#pragma once

#include <libxml/tree.h>

#include <string>

namespace cfgex::internal {

// The node as XML in UTF-8, nothing added. Of a document: its top-level nodes, without a
// declaration.
std::string ToXml(const xmlNode* c_node);

// The document as the text of a file: with an XML declaration, two blanks per level, LF.
// Elements that hold text beside elements, and those under xml:space="preserve", are written as
// they are. Reading this text and writing it again gives the same bytes.
std::string ToFileText(const xmlDoc* c_document);

// Is called while the text of a file is written. Items are the elements down to the third level
// that are on lines of their own.
class FileTextObserver {
 public:
  // The item comes next; `text` is what was written so far, and may be taken.
  virtual void AtItem(const xmlNode* c_item, std::string& text) = 0;
  // Whether an item that has children is known to have them on lines of their own, and that it was
  // seen to have: only looking at all of them tells.
  virtual bool IsKnownToIndent(const xmlNode* c_item) = 0;
  virtual void SeenToIndent(const xmlNode* c_item) = 0;

 protected:
  ~FileTextObserver() = default;
};

// The part of that text from one item up to another, or, if that is null, up to the end. With the
// root the text starts at the start of the file.
std::string ToFileTextPart(const xmlDoc* c_document, const xmlNode* c_from, const xmlNode* c_upTo,
                           FileTextObserver& observer);

}  // namespace cfgex::internal
