#include "platform/dom/serializer.h"

#include <utility>
#include <vector>

#include "platform/dom/file_text.h"
#include "platform/dom/namespaces.h"
#include "platform/dom/node_tree.h"

namespace cfgex {
namespace {

enum class Where { kText, kAttribute };

// Line ends that a parser would change, and markup, become references. A parser turns CR into LF
// everywhere, and TAB and LF into blanks in attributes.
const char* Reference(char c, Where where) noexcept {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\r':
      return "&#13;";
    case '"':
      return where == Where::kAttribute ? "&quot;" : nullptr;
    case '\t':
      return where == Where::kAttribute ? "&#9;" : nullptr;
    case '\n':
      return where == Where::kAttribute ? "&#10;" : nullptr;
    default:
      return nullptr;
  }
}

class Writer {
 public:
  explicit Writer(bool indent) : m_Indent(indent) {}
  explicit Writer(FileText& kept) : m_Indent(true), m_pKept(&kept), m_Out(kept.Start()) {}

  void Write(const xmlNode* c_root);
  void Add(std::string_view text) { m_Out += text; }
  std::string Take() { return std::move(m_Out); }

 private:
  void Add(const xmlChar* c_text) {
    if (c_text != nullptr) m_Out += reinterpret_cast<const char*>(c_text);
  }
  void Escaped(const xmlChar* c_text, Where where);
  void Name(const xmlNs* c_ns, const xmlChar* c_name);
  void Declarations(const xmlNode* c_element);
  void Attributes(const xmlNode* c_element);
  // Writes a node without children as a whole and gives false, or what stands before the children.
  bool Open(const xmlNode* c_node);
  // The same for a node whose text may be kept: that is written as a whole, too.
  bool OpenOrTake(const xmlNode* c_node);
  void Close(const xmlNode* c_element);
  bool IndentsChildren(const xmlNode* c_element) const;
  // Starts a line inside the innermost open element if its children stand on lines of their own.
  void NewLine(std::size_t indentation) {
    if (m_Levels.back()) m_Out.append(1, '\n').append(2 * indentation, ' ');
  }

  bool m_Indent;
  FileText* m_pKept = nullptr;
  std::vector<bool>
      m_Levels;  // of each open element: whether its children stand on their own lines
  std::string m_Out;
};

void Writer::Escaped(const xmlChar* c_text, Where where) {
  if (c_text == nullptr) return;
  const char* start = reinterpret_cast<const char*>(c_text);
  const char* at = start;
  for (; *at != '\0'; ++at) {
    if (const char* reference = Reference(*at, where)) {
      m_Out.append(start, at).append(reference);
      start = at + 1;
    }
  }
  m_Out.append(start, at);
}

void Writer::Name(const xmlNs* c_ns, const xmlChar* c_name) {
  if (c_ns != nullptr && c_ns->prefix != nullptr) {
    Add(c_ns->prefix);
    Add(":");
  }
  Add(c_name);
}

void Writer::Declarations(const xmlNode* c_element) {
  for (const xmlNs* c_ns = c_element->nsDef; c_ns != nullptr; c_ns = c_ns->next) {
    Add(c_ns->prefix == nullptr ? " xmlns" : " xmlns:");
    Add(c_ns->prefix);
    Add("=\"");
    Escaped(c_ns->href, Where::kAttribute);
    Add("\"");
  }
}

void Writer::Attributes(const xmlNode* c_element) {
  for (const xmlAttr* c_attr = c_element->properties; c_attr != nullptr; c_attr = c_attr->next) {
    Add(" ");
    Name(c_attr->ns, c_attr->name);
    Add("=\"");
    for (const xmlNode* c_text = c_attr->children; c_text != nullptr; c_text = c_text->next)
      Escaped(c_text->content, Where::kAttribute);
    Add("\"");
  }
}

bool Writer::IndentsChildren(const xmlNode* c_element) const {
  if (!(m_Levels.empty() ? m_Indent : m_Levels.back())) return false;
  const xmlAttr* c_space = FindAttribute(c_element, "space", Chars(XML_XML_NAMESPACE));
  if (c_space != nullptr && AttributeValue(c_space) == "preserve") return false;
  bool elements = false;
  for (const xmlNode* c_child = c_element->children; c_child != nullptr; c_child = c_child->next) {
    if (IsTextNode(c_child) && c_child->content != nullptr && *c_child->content != 0) return false;
    elements = elements || c_child->type == XML_ELEMENT_NODE;
  }
  return elements;
}

bool Writer::Open(const xmlNode* c_node) {
  switch (c_node->type) {
    case XML_ELEMENT_NODE:
      Add("<");
      Name(c_node->ns, c_node->name);
      Declarations(c_node);
      Attributes(c_node);
      Add(c_node->children == nullptr ? "/>" : ">");
      return c_node->children != nullptr;
    case XML_TEXT_NODE:
      Escaped(c_node->content, Where::kText);
      return false;
    case XML_CDATA_SECTION_NODE:
      // Only a parser makes these, so that their content never holds the end mark.
      Add("<![CDATA[");
      Add(c_node->content);
      Add("]]>");
      return false;
    case XML_COMMENT_NODE:
      Add("<!--");
      Add(c_node->content);
      Add("-->");
      return false;
    case XML_PI_NODE:
      Add("<?");
      Add(c_node->name);
      if (c_node->content != nullptr && *c_node->content != 0) Add(" ");
      Add(c_node->content);
      Add("?>");
      return false;
    case XML_ATTRIBUTE_NODE:
      for (const xmlNode* c_text = c_node->children; c_text != nullptr; c_text = c_text->next)
        Escaped(c_text->content, Where::kText);
      return false;
    default:
      return false;
  }
}

// The text of an element depends on its place only by the indentation there.
bool Writer::OpenOrTake(const xmlNode* c_node) {
  const bool isKept = m_pKept != nullptr && c_node->type == XML_ELEMENT_NODE &&
                      m_Levels.size() == 2 && m_Levels[0] && m_Levels[1];
  if (!isKept) return Open(c_node);
  const std::size_t begin = m_Out.size();
  const std::string_view text = m_pKept->Find(c_node);
  if (!text.empty()) {
    Add(text);
  } else {
    FileText* kept = std::exchange(m_pKept, nullptr);
    Write(c_node);
    m_pKept = kept;
  }
  m_pKept->Place(c_node, begin, m_Out.size());
  return false;
}

void Writer::Close(const xmlNode* c_element) {
  Add("</");
  Name(c_element->ns, c_element->name);
  Add(">");
}

void Writer::Write(const xmlNode* c_root) {
  const xmlNode* c_node = c_root;
  for (;;) {
    if (OpenOrTake(c_node)) {
      m_Levels.push_back(IndentsChildren(c_node));
      NewLine(m_Levels.size());
      c_node = c_node->children;
      continue;
    }
    while (c_node != c_root && c_node->next == nullptr) {
      c_node = c_node->parent;
      NewLine(m_Levels.size() - 1);
      m_Levels.pop_back();
      Close(c_node);
    }
    if (c_node == c_root) return;
    NewLine(m_Levels.size());
    c_node = c_node->next;
  }
}

}  // namespace

std::string ToXml(const xmlNode* c_node) {
  Writer writer(false);
  if (c_node->type != XML_DOCUMENT_NODE) {
    writer.Write(c_node);
  } else {
    for (const xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
      writer.Write(c_child);
  }
  return writer.Take();
}

namespace {

std::string FileTextBy(Writer writer, const xmlDoc* c_document) {
  writer.Add("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n");
  for (const xmlNode* c_child = c_document->children; c_child != nullptr; c_child = c_child->next) {
    writer.Write(c_child);
    writer.Add("\n");
  }
  return writer.Take();
}

}  // namespace

std::string ToFileText(const xmlDoc* c_document) { return FileTextBy(Writer(true), c_document); }

const std::string& RenewFileText(const xmlDoc* c_document, FileText& text) {
  return text.Finish(FileTextBy(Writer(text), c_document));
}

}  // namespace cfgex
