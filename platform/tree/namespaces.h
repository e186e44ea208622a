// Names and namespaces in a tree of the engine.
//
// Everywhere in the library this holds: the namespace that an element or attribute points at is the
// one that its prefix finds from there, walking up (FindNs). So what the serializer writes is
// read back as the same names. The one exception is the prefix "xml", which belongs to the
// document.
#pragma once

#include <libxml/tree.h>

#include <set>
#include <string>
#include <string_view>

namespace cfgex::internal {

inline constexpr const char* kSchemaInstanceNamespace = "http://www.w3.org/2001/XMLSchema-instance";

inline const char* Chars(const xmlChar* c_text) noexcept {
  return reinterpret_cast<const char*>(c_text);
}
inline const xmlChar* XmlChars(const char* text) noexcept {
  return reinterpret_cast<const xmlChar*>(text);
}

// Whether two namespace declarations say the same.
bool SameNs(const xmlNs* c_a, const xmlNs* c_b) noexcept;
// The URI of a namespace; "" for none.
std::string_view Uri(const xmlNs* c_ns) noexcept;
// The prefix; "" for none.
std::string_view Prefix(const xmlNs* c_ns) noexcept;

// The declaration of a prefix ("" for the default namespace) on this element alone, and in its
// scope; null for none. xmlns="" is a declaration with an empty URI. `c_element` may be null or a
// document.
xmlNs* OwnNs(const xmlNode* c_element, std::string_view prefix) noexcept;
xmlNs* FindNs(const xmlNode* c_element, std::string_view prefix) noexcept;
// A declaration in scope, with a prefix, that binds `uri`.
xmlNs* FindNsByUri(const xmlNode* c_element, std::string_view uri) noexcept;
// Whether the node is an element of that name in no namespace.
bool IsNamed(const xmlNode* c_node, std::string_view name) noexcept;

// A new declaration that belongs to nothing yet. Raises for lack of memory.
xmlNs* NewNs(std::string_view prefix, std::string_view uri);
// The document's namespace of the prefix "xml". Raises for lack of memory.
xmlNs* XmlPrefixNs(xmlDoc* c_document);

// The value of an attribute, as one text.
std::string AttributeValue(const xmlAttr* c_attr);

// Whether `c_attr` is the xsi:type of its element.
bool IsTypeAttribute(const xmlAttr* c_attr) noexcept;

// The prefixes that names in the values of this element alone may have: what is before a colon
// in one of its attributes, or in its text between child elements; "" if a word has none. Which
// values are names, only a schema tells.
std::set<std::string> PrefixesInValues(const xmlNode* c_element);

}  // namespace cfgex::internal
