#include "platform/tree/namespaces.h"

#include <cstring>
#include <memory>
#include <new>

#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

bool IsNameByte(char c) noexcept {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.' || static_cast<unsigned char>(c) >= 0x80;
}

void AddPrefixes(const std::string& value, std::set<std::string>& prefixes) {
  bool isBare = false;
  for (std::size_t at = 0; at < value.size(); ++at) {
    while (at < value.size() && std::strchr("-.0123456789", value[at]) != nullptr) ++at;
    const std::size_t start = at;
    while (at < value.size() && IsNameByte(value[at])) ++at;
    if (at == start) continue;
    if (at < value.size() && value[at] == ':')
      prefixes.insert(value.substr(start, at - start));
    else if (start == 0 || value[start - 1] != ':')
      isBare = true;
  }
  if (isBare) prefixes.emplace();
}

}  // namespace

std::string_view Uri(const xmlNs* c_ns) noexcept {
  return c_ns != nullptr && c_ns->href != nullptr ? Chars(c_ns->href) : std::string_view();
}

std::string_view Prefix(const xmlNs* c_ns) noexcept {
  return c_ns != nullptr && c_ns->prefix != nullptr ? Chars(c_ns->prefix) : std::string_view();
}

bool SameNs(const xmlNs* c_a, const xmlNs* c_b) noexcept {
  return Prefix(c_a) == Prefix(c_b) && Uri(c_a) == Uri(c_b);
}

xmlNs* OwnNs(const xmlNode* c_element, std::string_view prefix) noexcept {
  if (c_element == nullptr || c_element->type != XML_ELEMENT_NODE) return nullptr;
  for (xmlNs* c_ns = c_element->nsDef; c_ns != nullptr; c_ns = c_ns->next)
    if (Prefix(c_ns) == prefix) return c_ns;
  return nullptr;
}

xmlNs* FindNs(const xmlNode* c_element, std::string_view prefix) noexcept {
  for (; c_element != nullptr; c_element = c_element->parent)
    if (xmlNs* c_ns = OwnNs(c_element, prefix)) return c_ns;
  return nullptr;
}

xmlNs* FindNsByUri(const xmlNode* c_element, std::string_view uri) noexcept {
  for (const xmlNode* c_at = c_element; c_at != nullptr && c_at->type == XML_ELEMENT_NODE;
       c_at = c_at->parent) {
    for (xmlNs* c_ns = c_at->nsDef; c_ns != nullptr; c_ns = c_ns->next)
      if (c_ns->prefix != nullptr && Uri(c_ns) == uri && FindNs(c_element, Prefix(c_ns)) == c_ns)
        return c_ns;
  }
  return nullptr;
}

bool IsNamed(const xmlNode* c_node, std::string_view name) noexcept {
  return IsElement(c_node) && c_node->ns == nullptr && name == Chars(c_node->name);
}

xmlNs* NewNs(std::string_view prefix, std::string_view uri) {
  const std::string prefixText(prefix);
  const std::string uriText(uri);
  xmlNs* c_ns = xmlNewNs(nullptr, XmlChars(uriText.c_str()),
                         prefix.empty() ? nullptr : XmlChars(prefixText.c_str()));
  // The engine gives it also where it has no memory for what is in it.
  const bool isWhole =
      c_ns != nullptr && c_ns->href != nullptr && (c_ns->prefix != nullptr || prefix.empty());
  if (!isWhole) {
    xmlFreeNs(c_ns);
    throw std::bad_alloc();
  }
  return c_ns;
}

xmlNs* XmlPrefixNs(xmlDoc* c_document) {
  xmlNs* c_ns = xmlSearchNs(c_document, reinterpret_cast<xmlNode*>(c_document), XmlChars("xml"));
  if (c_ns == nullptr) throw std::bad_alloc();
  return c_ns;
}

std::string AttributeValue(const xmlAttr* c_attr) {
  std::string value;
  for (const xmlNode* c_text = c_attr->children; c_text != nullptr; c_text = c_text->next)
    if (c_text->content != nullptr) value += Chars(c_text->content);
  return value;
}

bool IsTypeAttribute(const xmlAttr* c_attr) noexcept {
  return c_attr->ns != nullptr && std::string_view(Chars(c_attr->name)) == "type" &&
         Uri(c_attr->ns) == kSchemaInstanceNamespace;
}

std::set<std::string> PrefixesInValues(const xmlNode* c_element) {
  std::set<std::string> prefixes;
  for (const xmlAttr* c_attr = c_element->properties; c_attr != nullptr; c_attr = c_attr->next)
    AddPrefixes(AttributeValue(c_attr), prefixes);
  std::string text;
  for (const xmlNode* c_child = c_element->children; c_child != nullptr; c_child = c_child->next) {
    if (IsTextNode(c_child) && c_child->content != nullptr) text += Chars(c_child->content);
    // Comments do not end a text.
    if (c_child->type != XML_ELEMENT_NODE && c_child->next != nullptr) continue;
    AddPrefixes(text, prefixes);
    text.clear();
  }
  return prefixes;
}

}  // namespace cfgex::internal
