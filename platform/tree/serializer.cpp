#include "platform/tree/serializer.h"

#include <cstring>
#include <utility>
#include <vector>

#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// Line ends that a parser would change, and markup, become references. A parser turns CR into LF
// everywhere, and TAB and LF into blanks in attributes.
constexpr const char* kInText = "&<>\r";
constexpr const char* kInAttribute = "&<>\r\"\t\n";
constexpr std::pair<char, const char*> kReferences[] = {
    {'&', "&amp;"},  {'<', "&lt;"},  {'>', "&gt;"},  {'\r', "&#13;"},
    {'"', "&quot;"}, {'\t', "&#9;"}, {'\n', "&#10;"}};

class Writer {
 public:
  explicit Writer(bool indent) : m_Indent(indent) {}
  explicit Writer(FileTextObserver& observer) : m_Indent(true), m_pObserver(&observer) {}

  void Write(const xmlNode* c_root) { Write(c_root, c_root, nullptr); }
  // From an element in the tree, all of whose ancestors have their children on lines of their own,
  // up to an item; gives whether that was met.
  bool Write(const xmlNode* c_root, const xmlNode* c_from, const xmlNode* c_upTo);
  void Add(std::string_view text) { m_Out += text; }
  std::string Take() { return std::move(m_Out); }

 private:
  void Add(const xmlChar* c_text) {
    if (c_text != nullptr) m_Out += Chars(c_text);
  }
  void Escaped(const xmlChar* c_text, const char* special);
  void CData(const xmlChar* c_text);
  void Name(const xmlNs* c_ns, const xmlChar* c_name);
  void Declarations(const xmlNode* c_element);
  void Attributes(const xmlNode* c_element);
  // Writes a node without children as a whole and returns false, or what comes before the children.
  bool Open(const xmlNode* c_node);
  void Close(const xmlNode* c_element);
  bool IsItem(const xmlNode* c_node) const {
    return m_pObserver != nullptr && c_node->type == XML_ELEMENT_NODE && m_Levels.size() <= 2 &&
           (m_Levels.empty() || m_Levels.back());
  }
  bool IndentsChildren(const xmlNode* c_element) const;
  bool HasLinesOfItsOwn(const xmlNode* c_element);
  // Starts a line inside the innermost open element if its children are on lines of their own.
  void NewLine(std::size_t indentation) {
    if (m_Levels.back()) m_Out.append(1, '\n').append(2 * indentation, ' ');
  }

  bool m_Indent;
  FileTextObserver* m_pObserver = nullptr;
  std::vector<bool> m_Levels;  // of each open element: whether its children are on their own lines
  std::string m_Out;
};

void Writer::Escaped(const xmlChar* c_text, const char* special) {
  const char* at = c_text != nullptr ? Chars(c_text) : "";
  for (;; ++at) {
    const std::size_t plain = std::strcspn(at, special);
    m_Out.append(at, plain);
    at += plain;
    if (*at == '\0') return;
    for (const auto& [character, reference] : kReferences)
      if (character == *at) Add(reference);
  }
}

// The parser makes one node of sections that follow each other, which may hold the end mark then.
void Writer::CData(const xmlChar* c_text) {
  std::string_view rest = c_text != nullptr ? Chars(c_text) : "";
  Add("<![CDATA[");
  for (std::size_t end; (end = rest.find("]]>")) != rest.npos; rest.remove_prefix(end + 2)) {
    Add(rest.substr(0, end + 2));
    Add("]]><![CDATA[");
  }
  Add(rest);
  Add("]]>");
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
    Escaped(c_ns->href, kInAttribute);
    Add("\"");
  }
}

void Writer::Attributes(const xmlNode* c_element) {
  for (const xmlAttr* c_attr = c_element->properties; c_attr != nullptr; c_attr = c_attr->next) {
    Add(" ");
    Name(c_attr->ns, c_attr->name);
    Add("=\"");
    for (const xmlNode* c_text = c_attr->children; c_text != nullptr; c_text = c_text->next)
      Escaped(c_text->content, kInAttribute);
    Add("\"");
  }
}

bool Writer::IndentsChildren(const xmlNode* c_element) const {
  if (!(m_Levels.empty() ? m_Indent : m_Levels.back())) return false;
  const xmlAttr* c_space = xmlHasNsProp(c_element, XmlChars("space"), XML_XML_NAMESPACE);
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
      Escaped(c_node->content, kInText);
      return false;
    case XML_CDATA_SECTION_NODE:
      CData(c_node->content);
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
        Escaped(c_text->content, kInText);
      return false;
    default:
      return false;
  }
}

void Writer::Close(const xmlNode* c_element) {
  Add("</");
  Name(c_element->ns, c_element->name);
  Add(">");
}

bool Writer::HasLinesOfItsOwn(const xmlNode* c_element) {
  if (!IsItem(c_element)) return IndentsChildren(c_element);
  if (m_pObserver->IsKnownToIndent(c_element)) return true;
  const bool indents = IndentsChildren(c_element);
  if (indents) m_pObserver->SeenToIndent(c_element);
  return indents;
}

bool Writer::Write(const xmlNode* c_root, const xmlNode* c_from, const xmlNode* c_upTo) {
  for (const xmlNode* c_at = c_from; c_at != c_root; c_at = c_at->parent) m_Levels.push_back(true);
  const xmlNode* c_node = c_from;
  for (;;) {
    if (IsItem(c_node)) {
      if (c_node == c_upTo) return true;
      m_pObserver->AtItem(c_node, m_Out);
    }
    if (Open(c_node)) {
      m_Levels.push_back(HasLinesOfItsOwn(c_node));
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
    if (c_node == c_root) return false;
    NewLine(m_Levels.size());
    c_node = c_node->next;
  }
}

constexpr std::string_view kDeclaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

void WriteWithLineEnd(Writer& writer, const xmlNode* c_node, const xmlNode* c_end) {
  for (; c_node != c_end; c_node = c_node->next) {
    writer.Write(c_node);
    writer.Add("\n");
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

std::string ToFileText(const xmlDoc* c_document) {
  Writer writer(true);
  writer.Add(kDeclaration);
  WriteWithLineEnd(writer, c_document->children, nullptr);
  return writer.Take();
}

std::string ToFileTextPart(const xmlDoc* c_document, const xmlNode* c_from, const xmlNode* c_upTo,
                           FileTextObserver& observer) {
  const xmlNode* c_root = xmlDocGetRootElement(c_document);
  Writer writer(observer);
  if (c_from == c_root) {
    writer.Add(kDeclaration);
    WriteWithLineEnd(writer, c_document->children, c_root);
  }
  if (writer.Write(c_root, c_from, c_upTo)) return writer.Take();
  writer.Add("\n");
  WriteWithLineEnd(writer, c_root->next, nullptr);
  return writer.Take();
}

}  // namespace cfgex::internal
