// Elements and their attributes.
#include <algorithm>
#include <new>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/dom/dom_node.h"
#include "platform/dom/qualified_name.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {
namespace {

// Whether a name in the tree has this prefix by virtue of a declaration outside of it, or by none
// at all. In a value, what has no declaration is no name.
bool UsesOuterPrefix(xmlNode* c_root, std::string_view prefix) {
  const bool inValues = prefix.empty() || FindNs(c_root, prefix) != nullptr;
  for (xmlNode* c_node = c_root; c_node != nullptr;) {
    // What declares the prefix itself shields all below it.
    const bool shielded = c_node != c_root && OwnNs(c_node, prefix) != nullptr;
    if (c_node->type == XML_ELEMENT_NODE && !shielded) {
      if (Prefix(c_node->ns) == prefix) return true;
      for (const xmlAttr* c_attr = c_node->properties; c_attr != nullptr; c_attr = c_attr->next) {
        if (c_attr->ns != nullptr && Prefix(c_attr->ns) == prefix) return true;
      }
      if (inValues && PrefixesInValues(c_node).contains(std::string(prefix))) return true;
    }
    c_node = NextInTree(c_node, c_root, shielded);
  }
  return false;
}

void DeclareNamespace(xmlNode* c_element, const std::string& prefix, const std::string& uri) {
  const bool reserved = prefix == "xml" || prefix == "xmlns" || uri == Chars(XML_XML_NAMESPACE) ||
                        uri == "http://www.w3.org/2000/xmlns/";
  if (reserved || (uri.empty() && !prefix.empty()))
    throw _com_error(_com_error::kInvalidArgument, "setAttribute: not to be declared: " + prefix);
  xmlNs* c_own = OwnNs(c_element, prefix);
  if (c_own != nullptr && Uri(c_own) == uri) return;
  if (Uri(FindNs(c_element, prefix)) != uri && UsesOuterPrefix(c_element, prefix))
    throw _com_error(_com_error::kInvalidArgument,
                     "setAttribute: in use for another namespace: " + prefix);
  TreeChanges& changes = DocumentOf(c_element).Changes();
  if (c_own == nullptr) {
    changes.Declare(c_element, NewNs(prefix, uri));
    return;
  }
  xmlChar* c_uri = xmlStrdup(XmlChars(uri.c_str()));
  if (c_uri == nullptr) throw std::bad_alloc();
  changes.Redeclare(c_element, c_own, c_uri);
}

xmlNs* AttributeNs(xmlNode* c_element, const PrefixedName& name) {
  if (name.prefix.empty()) return nullptr;
  if (name.prefix == "xml") return XmlPrefixNs(c_element->doc);
  xmlNs* c_ns = FindNs(c_element, name.prefix);
  if (c_ns == nullptr)
    throw _com_error(_com_error::kInvalidArgument,
                     "setAttribute: prefix not declared: " + name.prefix);
  return c_ns;
}

}  // namespace

std::wstring Element::get_tagName() {
  const std::string prefix(Prefix(m_c_node->ns));
  const char* local = Chars(m_c_node->name);
  return FromUtf8(prefix.empty() ? local : prefix + ":" + local);
}

std::optional<std::wstring> Element::getAttribute(std::wstring_view name) {
  RaiseFaultHere(FaultPoint::kGetAttribute);
  const std::string wanted = ToUtf8(name);
  const std::size_t colon = wanted.find(':');
  const bool prefixed = colon != wanted.npos;
  const std::string prefix = prefixed ? wanted.substr(0, colon) : "";
  const std::string local = prefixed ? wanted.substr(colon + 1) : wanted;

  if (prefix == "xmlns" || wanted == "xmlns") {
    const xmlNs* c_ns = OwnNs(m_c_node, prefixed ? local : "");
    if (c_ns == nullptr || (prefixed && local.empty())) return std::nullopt;
    return FromUtf8(Uri(c_ns));
  }
  for (const xmlAttr* c_attr = m_c_node->properties; c_attr != nullptr; c_attr = c_attr->next)
    if (local == Chars(c_attr->name) && Prefix(c_attr->ns) == prefix)
      return FromUtf8(AttributeValue(c_attr));
  return std::nullopt;
}

void Element::setAttribute(std::wstring_view name, std::wstring_view value) {
  RaiseFaultHere(FaultPoint::kSetAttribute);
  const EngineScope scope;
  const PrefixedName qname = SplitName(name);
  const std::string text = EngineText(value);
  if (qname.prefix == "xmlns" || (qname.prefix.empty() && qname.local == "xmlns")) {
    DeclareNamespace(m_c_node, qname.prefix.empty() ? "" : qname.local, text);
    return;
  }
  xmlNs* c_ns = AttributeNs(m_c_node, qname);
  xmlAttr* c_attr = FindAttribute(m_c_node, qname.local, Uri(c_ns));
  if (c_attr != nullptr) {
    // With the namespace: the document may have had another prefix for it.
    m_pDocument->Changes().PutValue(c_attr, NewText(m_c_node->doc, text), c_ns);
    return;
  }
  c_attr = NewAttribute(m_c_node->doc, XmlChars(qname.local.c_str()), text);
  c_attr->ns = c_ns;
  m_pDocument->Changes().Link(reinterpret_cast<xmlNode*>(c_attr), m_c_node, nullptr);
}

void Element::setAttributeNode(const ComPtr<IXMLDOMAttribute>& attribute) {
  RaiseFaultHere(FaultPoint::kSetAttributeNode);
  const EngineScope scope;
  xmlNode* c_node = EngineNode(attribute.get());
  if (c_node == nullptr) throw _com_error(_com_error::kInvalidArgument, "setAttributeNode: none");
  if (c_node->parent == m_c_node) return;
  if (c_node->parent != nullptr)
    throw _com_error(_com_error::kInvalidArgument, "setAttributeNode: it has an element");

  auto* c_attr = reinterpret_cast<xmlAttr*>(c_node);
  xmlAttr* c_old = FindAttribute(m_c_node, Chars(c_attr->name), Uri(c_attr->ns));
  Move in = Move::To(c_node, m_c_node);
  if (c_old != nullptr) {
    Move out = Move::Out(reinterpret_cast<xmlNode*>(c_old));
    out.Unlink();
    out.Release();
  }
  in.Link();
}

std::wstring AttributeText(const std::optional<std::wstring>& value) {
  if (!value.has_value())
    throw _com_error(_com_error::kBadVariantType, "the attribute is not there");
  return *value;
}

PrefixedName SplitName(std::wstring_view name) {
  const std::size_t colon = name.find(L':');
  const bool prefixed = colon != name.npos;
  const std::wstring_view prefix = prefixed ? name.substr(0, colon) : std::wstring_view();
  const std::wstring_view local = prefixed ? name.substr(colon + 1) : name;
  if ((prefixed && !IsNCName(prefix)) || !IsNCName(local))
    throw _com_error(_com_error::kInvalidArgument, "not an XML name");
  return {ToUtf8(prefix), ToUtf8(local)};
}

}  // namespace cfgex::internal
