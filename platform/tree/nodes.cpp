#include "platform/tree/nodes.h"

#include <new>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/tree/limits.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {
namespace {

template <class T>
T* Made(T* c_object) {
  if (c_object == nullptr) throw std::bad_alloc();
  return c_object;
}

}  // namespace

// --- Text

std::string TextOf(const xmlNode* c_node) {
  std::string text;
  ForEachText(c_node, [&text](const char* piece) { text += piece; });
  return text;
}

// --- Making

std::string EngineText(std::wstring_view text) {
  if (!IsXmlText(text))
    throw _com_error(_com_error::kInvalidArgument, "a character that XML cannot carry");
  std::string bytes = ToUtf8(text);
  if (bytes.size() > kMaxTextBytes) throw _com_error(_com_error::kInvalidArgument, "text too long");
  return bytes;
}

xmlNode* NewText(xmlDoc* c_document, const std::string& text) {
  RaiseFaultHere(FaultPoint::kNewNode);
  xmlNode* c_text = Made(xmlNewText(XmlChars(text.c_str())));
  c_text->doc = c_document;
  if (c_text->content == nullptr) {
    xmlFreeNode(c_text);
    throw std::bad_alloc();
  }
  return c_text;
}

const xmlChar* NewName(xmlDoc* c_document, const xmlChar* c_name) {
  RaiseFaultHere(FaultPoint::kNewName);
  if (c_document->dict != nullptr)
    if (const xmlChar* c_known = xmlDictExists(c_document->dict, c_name, -1)) return c_known;
  return Made(xmlStrdup(c_name));
}

xmlNode* NewElement(xmlDoc* c_document, const xmlChar* c_name) {
  const xmlChar* c_ownName = NewName(c_document, c_name);
  // The engine frees the name where it makes no element of it.
  return Made(xmlNewDocNodeEatName(c_document, nullptr, const_cast<xmlChar*>(c_ownName), nullptr));
}

xmlAttr* NewAttribute(xmlDoc* c_document, const xmlChar* c_name, const std::string& value) {
  RaiseFaultHere(FaultPoint::kNewNode);
  xmlAttr* c_attr = Made(xmlNewNsProp(nullptr, nullptr, c_name, XmlChars(value.c_str())));
  // The engine made the name outside of any dictionary.
  c_attr->doc = c_document;
  if (c_attr->name == nullptr || c_attr->children == nullptr ||
      c_attr->children->content == nullptr) {
    xmlFreeProp(c_attr);
    throw std::bad_alloc();
  }
  c_attr->children->doc = c_document;
  return c_attr;
}

void AppendAttribute(xmlNode* c_element, xmlAttr* c_attr) noexcept {
  xmlAttr* c_last = c_element->properties;
  while (c_last != nullptr && c_last->next != nullptr) c_last = c_last->next;
  (c_last != nullptr ? c_last->next : c_element->properties) = c_attr;
  c_attr->prev = c_last;
  c_attr->next = nullptr;
  c_attr->parent = c_element;
}

void AppendNs(xmlNode* c_element, xmlNs* c_ns) noexcept {
  xmlNs** end = &c_element->nsDef;
  while (*end != nullptr) end = &(*end)->next;
  *end = c_ns;
  c_ns->next = nullptr;
}

void RemoveNs(xmlNode* c_element, xmlNs* c_ns) noexcept {
  xmlNs** at = &c_element->nsDef;
  while (*at != c_ns) at = &(*at)->next;
  *at = c_ns->next;
  c_ns->next = nullptr;
}

// --- Copying
//
// The engine's own copying will not do: where it lacks memory, it leaves out children and says
// nothing, and it uses the stack for each level.

namespace {

NodePtr CopyNode(const xmlNode* c_node) {
  RaiseFaultHere(FaultPoint::kNewNode);
  xmlNode* c_copy = nullptr;
  switch (c_node->type) {
    case XML_ELEMENT_NODE:
      c_copy = NewElement(c_node->doc, c_node->name);
      break;
    case XML_CDATA_SECTION_NODE:
      c_copy = xmlNewCDataBlock(c_node->doc, c_node->content, xmlStrlen(c_node->content));
      break;
    case XML_COMMENT_NODE:
      c_copy = xmlNewComment(c_node->content);
      break;
    case XML_PI_NODE:
      c_copy = xmlNewDocPI(nullptr, c_node->name, c_node->content);
      break;
    default:
      c_copy = xmlNewText(c_node->content);
      break;
  }
  NodePtr copy(Made(c_copy));
  copy->doc = c_node->doc;
  copy->line = c_node->line;
  // The engine gives CDATA no name.
  const bool isNamed = copy->name != nullptr || copy->type == XML_CDATA_SECTION_NODE;
  if (!isNamed || (copy->content == nullptr && c_node->content != nullptr)) throw std::bad_alloc();
  return copy;
}

// The namespace of the copy, found by its prefix. One that is declared outside of the source is
// declared on the copy's root.
xmlNs* CopiedNs(xmlNode* c_root, const xmlNode* c_to, xmlNs* c_ns) {
  if (Uri(c_ns) == Chars(XML_XML_NAMESPACE)) return c_ns;
  xmlNs* c_copy = FindNs(c_to, Prefix(c_ns));
  if (c_copy == nullptr) {
    c_copy = NewNs(Prefix(c_ns), Uri(c_ns));
    AppendNs(c_root, c_copy);
  }
  return c_copy;
}

void CopyContent(const xmlNode* c_from, xmlNode* c_to, xmlNode* c_root, bool hasOuterNs) {
  for (const xmlNs* c_ns = c_from->nsDef; c_ns != nullptr; c_ns = c_ns->next)
    AppendNs(c_to, NewNs(Prefix(c_ns), Uri(c_ns)));
  if (c_from->ns != nullptr) c_to->ns = CopiedNs(c_root, c_to, c_from->ns);
  for (const xmlAttr* c_attr = c_from->properties; c_attr != nullptr; c_attr = c_attr->next) {
    xmlAttr* c_copy = NewAttribute(c_to->doc, c_attr->name, AttributeValue(c_attr));
    AppendAttribute(c_to, c_copy);
    if (c_attr->ns != nullptr) c_copy->ns = CopiedNs(c_root, c_to, c_attr->ns);
  }
  if (!hasOuterNs) return;
  for (const std::string& prefix : PrefixesInValues(c_from)) {
    xmlNs* c_ns = FindNs(c_from, prefix);
    if (!Uri(c_ns).empty()) CopiedNs(c_root, c_to, c_ns);
  }
}

}  // namespace

xmlNode* CopyTree(const xmlNode* c_root) {
  bool hasOuterNs = false;
  for (const xmlNode* c_at = c_root->parent; c_at != nullptr && IsElement(c_at);
       c_at = c_at->parent)
    hasOuterNs = hasOuterNs || c_at->nsDef != nullptr;

  NodePtr root;
  xmlNode* c_to = nullptr;
  for (const xmlNode* c_from = c_root; c_from != nullptr;) {
    NodePtr copy = CopyNode(c_from);
    xmlNode* c_copy = copy.get();
    if (c_to == nullptr) {
      root = std::move(copy);
    } else {
      c_copy->parent = c_to;
      c_copy->prev = c_to->last;
      (c_to->last != nullptr ? c_to->last->next : c_to->children) = copy.release();
      c_to->last = c_copy;
    }
    if (IsElement(c_from)) CopyContent(c_from, c_copy, root.get(), hasOuterNs);

    const xmlNode* c_next = NextInTree(c_from, c_root);
    if (c_next == nullptr) break;
    // `c_to` follows the parent of what comes next.
    c_to = c_copy;
    for (const xmlNode* c_up = c_from; c_up != c_next->parent; c_up = c_up->parent)
      c_to = c_to->parent;
    c_from = c_next;
  }
  return root.release();
}

}  // namespace cfgex::internal
