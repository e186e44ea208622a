// Elements and their attributes.
#include <memory>
#include <new>
#include <utility>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

// A name as the interface takes it.
struct PrefixedName {
  std::string prefix;  // "" for none
  std::string local;
};

// Splits "prefix:local" or "local" and converts it. Raises for what is no such name.
PrefixedName SplitName(std::wstring_view name) {
  const std::size_t colon = name.find(L':');
  const bool prefixed = colon != name.npos;
  const std::wstring_view prefix = prefixed ? name.substr(0, colon) : std::wstring_view();
  const std::wstring_view local = prefixed ? name.substr(colon + 1) : name;
  if ((prefixed && !IsNCName(prefix)) || !IsNCName(local))
    throw _com_error(_com_error::kInvalidArgument, "not an XML name");
  return {ToUtf8(prefix), ToUtf8(local)};
}

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
  TreeChanges& changes = ChangesOf(c_element);
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

struct FreeNs {
  void operator()(xmlNs* c_ns) const noexcept { xmlFreeNs(c_ns); }
};
using NsPtr = std::unique_ptr<xmlNs, FreeNs>;

// Sets the attribute, or adds it. With the namespace: the document may have had another prefix.
// `declaration`, if any, is that namespace, and is declared on the element.
void PutAttribute(xmlNode* c_element, const std::string& name, xmlNs* c_ns,
                  const std::string& value, NsPtr declaration = {}) {
  TreeChanges& changes = ChangesOf(c_element);
  xmlAttr* c_old = xmlHasNsProp(c_element, XmlChars(name.c_str()), c_ns ? c_ns->href : nullptr);
  xmlAttr* c_new = nullptr;
  xmlNode* c_text = nullptr;
  if (c_old != nullptr)
    c_text = NewText(c_element->doc, value);
  else
    c_new = NewAttribute(c_element->doc, XmlChars(name.c_str()), value);

  if (declaration != nullptr) changes.Declare(c_element, declaration.release());
  if (c_old != nullptr) {
    changes.PutValue(c_old, c_text, c_ns);
  } else {
    c_new->ns = c_ns;
    changes.LinkAttribute(c_new, c_element);
  }
}

// What createNode makes is an attribute of an element of this name, which no element of a document
// has: so every attribute is in an element.
constexpr const char* kAttributeHolder = "#attribute";

}  // namespace

std::wstring IXMLDOMElement::get_tagName() {
  const std::string prefix(Prefix(m_c_node->ns));
  const char* local = Chars(m_c_node->name);
  return FromUtf8(prefix.empty() ? local : prefix + ":" + local);
}

std::optional<std::wstring> IXMLDOMElement::getAttribute(std::wstring_view name) {
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

void IXMLDOMElement::setAttribute(std::wstring_view name, std::wstring_view value) {
  RaiseFaultHere(FaultPoint::kSetAttribute);
  const EngineScope scope;
  const PrefixedName qname = SplitName(name);
  const std::string text = EngineText(value);
  if (qname.prefix == "xmlns" || (qname.prefix.empty() && qname.local == "xmlns"))
    DeclareNamespace(m_c_node, qname.prefix.empty() ? "" : qname.local, text);
  else
    PutAttribute(m_c_node, qname.local, AttributeNs(m_c_node, qname), text);
}

void IXMLDOMElement::setAttributeNode(const ComPtr<IXMLDOMAttribute>& attribute) {
  RaiseFaultHere(FaultPoint::kSetAttributeNode);
  const EngineScope scope;
  const auto* c_attr = reinterpret_cast<const xmlAttr*>(attribute->EngineNode());
  if (!IsNamed(c_attr->parent, kAttributeHolder))
    throw _com_error(_com_error::kInvalidArgument, "setAttributeNode: it has an element");

  std::string prefix(Prefix(c_attr->ns));
  NsPtr declaration;
  xmlNs* c_ns = prefix == "xml" ? XmlPrefixNs(m_c_node->doc) : FindNs(m_c_node, prefix);
  if (c_attr->ns == nullptr) {
    c_ns = nullptr;
  } else if (Uri(c_ns) != Uri(c_attr->ns)) {
    // Where the prefix means something else, any other for its namespace will do.
    const bool isTaken = c_ns != nullptr;
    c_ns = isTaken ? FindNsByUri(m_c_node, Uri(c_attr->ns)) : nullptr;
    for (int i = 1; isTaken && FindNs(m_c_node, prefix) != nullptr; ++i)
      prefix = "ns" + std::to_string(i);
    if (c_ns == nullptr) {
      declaration.reset(NewNs(prefix, Uri(c_attr->ns)));
      c_ns = declaration.get();
    }
  }
  PutAttribute(m_c_node, Chars(c_attr->name), c_ns, AttributeValue(c_attr), std::move(declaration));
}

ComPtr<IXMLDOMNode> IXMLDOMDocument2::createNode(DomNodeType type, std::wstring_view name,
                                                 std::wstring_view namespaceUri) {
  RaiseFaultHere(FaultPoint::kCreateNode);
  const EngineScope scope;
  const PrefixedName qname = SplitName(name);
  const std::string uri = EngineText(namespaceUri);
  const bool isXml = qname.prefix == "xml";
  const bool fits = qname.prefix.empty() == uri.empty() && qname.prefix != "xmlns" &&
                    qname.local != "xmlns" && isXml == (uri == Chars(XML_XML_NAMESPACE));
  if (type != DomNodeType::kAttribute || !fits)
    throw _com_error(_com_error::kInvalidArgument, "createNode: not an attribute's name");

  xmlDoc* c_document = m_c_node->doc;
  NodePtr holder(NewElement(c_document, XmlChars(kAttributeHolder)));
  xmlNs* c_ns = nullptr;
  if (isXml) {
    c_ns = XmlPrefixNs(c_document);
  } else if (!uri.empty()) {
    c_ns = NewNs(qname.prefix, uri);
    AppendNs(holder.get(), c_ns);
  }
  xmlAttr* c_attr = NewAttribute(c_document, XmlChars(qname.local.c_str()), {});
  AppendAttribute(holder.get(), c_attr);
  c_attr->ns = c_ns;
  return WrapNew(holder.release(), c_attr);
}

std::wstring AttributeText(const std::optional<std::wstring>& value) {
  if (!value.has_value())
    throw _com_error(_com_error::kBadVariantType, "the attribute is not there");
  return *value;
}

}  // namespace cfgex::internal
