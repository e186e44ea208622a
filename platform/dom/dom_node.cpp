#include <algorithm>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/dom/move.h"
#include "platform/dom/path.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"
#include "platform/tree/serializer.h"

namespace cfgex::internal {

// --- Ownership

Fragment::~Fragment() {
  if (c_root != nullptr) xmlFreeNode(c_root);
}

IXMLDOMNode::IXMLDOMNode(xmlNode* c_node, Fragment* fragment) noexcept
    : m_c_node(c_node), m_pFragment(fragment) {
  DocumentOf(c_node).AddRef();
  if (fragment != nullptr) ++fragment->objects;
  c_node->_private = this;
}

IXMLDOMNode::~IXMLDOMNode() {
  if (m_c_node == nullptr) return;  // a document
  IXMLDOMDocument2& document = DocumentOf(m_c_node);
  m_c_node->_private = nullptr;
  // Before the document, whose dictionary may hold strings of the fragment.
  if (m_pFragment != nullptr && --m_pFragment->objects == 0) delete m_pFragment;
  document.Release();
}

ComPtr<IXMLDOMNode> Wrap(xmlNode* c_node, Fragment* fragment) {
  if (IXMLDOMNode* object = ObjectOf(c_node)) return ComPtr<IXMLDOMNode>(object);
  switch (c_node->type) {
    case XML_ELEMENT_NODE:
      return MakeCounted<IXMLDOMElement>(c_node, fragment);
    case XML_ATTRIBUTE_NODE:
      return MakeCounted<IXMLDOMAttribute>(c_node, fragment);
    default:
      return MakeCounted<IXMLDOMNode>(c_node, fragment);
  }
}

ComPtr<IXMLDOMNode> WrapNew(xmlNode* c_root, xmlAttr* c_attr) {
  NodePtr root(c_root);
  auto fragment = std::make_unique<Fragment>(nullptr);
  auto* c_node = c_attr != nullptr ? reinterpret_cast<xmlNode*>(c_attr) : c_root;
  ComPtr<IXMLDOMNode> node = Wrap(c_node, fragment.get());
  fragment.release()->c_root = root.release();  // the objects in it own it now
  return node;
}

namespace {

[[noreturn]] void Refuse(const char* what) { throw _com_error(_com_error::kInvalidArgument, what); }

// The fragment that a node found from `c_origin` is in: a path leads to its own tree or into the
// document's.
Fragment* FragmentFrom(const xmlNode* c_origin, const xmlNode* c_found) noexcept {
  Fragment* fragment = ObjectOf(c_origin)->TreeFragment();
  return fragment == nullptr || IsInDocument(c_found) ? nullptr : fragment;
}

long DepthOf(const xmlNode* c_node) noexcept {
  long depth = 0;
  for (; c_node != nullptr && IsElement(c_node); c_node = c_node->parent) ++depth;
  return depth;
}

long HeightOf(const xmlNode* c_root) noexcept {
  long height = 0;
  long level = 1;
  for (const xmlNode* c_node = c_root;;) {
    if (IsElement(c_node)) height = std::max(height, level);
    if (IsElement(c_node) && c_node->children != nullptr) {
      ++level;
      c_node = c_node->children;
      continue;
    }
    for (; c_node != c_root && c_node->next == nullptr; --level) c_node = c_node->parent;
    if (c_node == c_root) return height;
    c_node = c_node->next;
  }
}

// Whether `c_node` may become a child of `c_parent`, in the place of `c_old` if that is not null.
void CheckInsertion(const xmlNode* c_parent, const xmlNode* c_node, const xmlNode* c_old) {
  if (c_node == nullptr || c_node->type != XML_ELEMENT_NODE) Refuse("insert: not an element");
  if (!HoldsChildren(c_parent)) Refuse("insert: the parent takes no children");
  for (const xmlNode* c_at = c_parent; c_at != nullptr; c_at = c_at->parent)
    if (c_at == c_node) Refuse("insert: an ancestor of the parent");
  if (c_parent->type == XML_DOCUMENT_NODE) {
    const xmlNode* c_root = xmlDocGetRootElement(reinterpret_cast<const xmlDoc*>(c_parent));
    if (c_root != nullptr && c_root != c_node && c_root != c_old) Refuse("insert: a second root");
  }
  if (DepthOf(c_parent) + HeightOf(c_node) > kMaxDepth) Refuse("insert: nested too deeply");
}

bool IsChild(const xmlNode* c_node, const xmlNode* c_parent) noexcept {
  return c_node != nullptr && c_node->parent == c_parent && c_node->type != XML_ATTRIBUTE_NODE;
}

}  // namespace

// --- Finding

DomNodeType IXMLDOMNode::get_nodeType() const noexcept {
  switch (m_c_node->type) {
    case XML_ELEMENT_NODE:
      return DomNodeType::kElement;
    case XML_ATTRIBUTE_NODE:
      return DomNodeType::kAttribute;
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
      return DomNodeType::kText;
    case XML_DOCUMENT_NODE:
      return DomNodeType::kDocument;
    default:
      return DomNodeType::kOther;
  }
}

ComPtr<IXMLDOMNode> IXMLDOMNode::selectSingleNode(std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSelectSingleNode);
  xmlNode* c_found = FindFirst(m_c_node, path);
  return c_found != nullptr ? Wrap(c_found, FragmentFrom(m_c_node, c_found)) : nullptr;
}

ComPtr<IXMLDOMNodeList> IXMLDOMNode::selectNodes(std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSelectNodes);
  std::vector<ComPtr<IXMLDOMNode>> nodes;
  for (xmlNode* c_found : FindAll(m_c_node, path))
    nodes.push_back(Wrap(c_found, FragmentFrom(m_c_node, c_found)));
  return MakeCounted<IXMLDOMNodeList>(std::move(nodes));
}

ComPtr<IXMLDOMNode> IXMLDOMNode::get_parentNode() {
  xmlNode* c_parent = m_c_node->type == XML_ATTRIBUTE_NODE ? nullptr : m_c_node->parent;
  return c_parent != nullptr ? Wrap(c_parent, m_pFragment) : nullptr;
}

ComPtr<IXMLDOMNodeList> IXMLDOMNode::get_childNodes() {
  return MakeCounted<IXMLDOMNodeList>(*this);
}

ComPtr<IXMLDOMDocument2> IXMLDOMNode::get_ownerDocument() {
  if (m_c_node->type == XML_DOCUMENT_NODE) return nullptr;
  return ComPtr<IXMLDOMDocument2>(&DocumentOf(m_c_node));
}

// --- Changing

ComPtr<IXMLDOMNode> IXMLDOMNode::appendChild(const ComPtr<IXMLDOMNode>& node) {
  RaiseFaultHere(FaultPoint::kAppendChild);
  const EngineScope scope;
  xmlNode* c_node = node->EngineNode();
  CheckInsertion(m_c_node, c_node, nullptr);
  Move in = Move::To(c_node, m_c_node);
  in.Unlink();
  in.Link();
  return node;
}

ComPtr<IXMLDOMNode> IXMLDOMNode::replaceChild(const ComPtr<IXMLDOMNode>& node,
                                              const ComPtr<IXMLDOMNode>& oldNode) {
  RaiseFaultHere(FaultPoint::kReplaceChild);
  const EngineScope scope;
  xmlNode* c_node = node->EngineNode();
  xmlNode* c_old = oldNode->EngineNode();
  if (!IsChild(c_old, m_c_node)) Refuse("replaceChild: not a child");
  CheckInsertion(m_c_node, c_node, c_old);
  if (c_node == c_old) return oldNode;

  Move in = Move::To(c_node, m_c_node);
  Move out = Move::Out(c_old, c_node);
  in.Unlink();
  in.LinkInPlaceOf(c_old);
  out.Release();
  return oldNode;
}

ComPtr<IXMLDOMNode> IXMLDOMNode::removeChild(const ComPtr<IXMLDOMNode>& node) {
  RaiseFaultHere(FaultPoint::kRemoveChild);
  const EngineScope scope;
  xmlNode* c_node = node->EngineNode();
  if (!IsChild(c_node, m_c_node)) Refuse("removeChild: not a child");
  Move out = Move::Out(c_node);
  out.Unlink();
  out.Release();
  return node;
}

ComPtr<IXMLDOMNode> IXMLDOMNode::cloneNode(bool deep) {
  RaiseFaultHere(FaultPoint::kCloneNode);
  const EngineScope scope;
  if (!deep || m_c_node->type == XML_DOCUMENT_NODE || m_c_node->type == XML_ATTRIBUTE_NODE)
    Refuse("cloneNode: shallow, or a document or attribute");
  DocumentOf(m_c_node).Own().FixDeclaration(m_c_node);
  xmlNode* c_copy = CopyTree(m_c_node);
  if (IsElement(m_c_node)) c_copy->psvi = m_c_node->psvi;
  return WrapNew(c_copy);
}

// --- Text

std::wstring IXMLDOMNode::get_text() {
  RaiseFaultHere(FaultPoint::kGetText);
  const xmlNode* c_child = IsElement(m_c_node) ? m_c_node->children : nullptr;
  if (c_child != nullptr && c_child->next == nullptr && c_child->type == XML_TEXT_NODE)
    return FromUtf8(Chars(c_child->content));
  return FromUtf8(TextOf(m_c_node));
}

void IXMLDOMNode::put_text(std::wstring_view text) {
  RaiseFaultHere(FaultPoint::kPutText);
  const EngineScope scope;
  const std::string bytes = EngineText(text);
  TreeChanges& changes = ChangesOf(m_c_node);
  if (m_c_node->type == XML_ATTRIBUTE_NODE) {
    auto* c_attr = reinterpret_cast<xmlAttr*>(m_c_node);
    changes.PutValue(c_attr, NewText(m_c_node->doc, bytes), c_attr->ns);
    return;
  }
  if (!IsElement(m_c_node)) Refuse("put_text: not an element");

  std::vector<Move> out;
  for (xmlNode* c_child = m_c_node->children; c_child != nullptr; c_child = c_child->next)
    out.push_back(Move::Out(c_child));
  xmlNode* c_text = bytes.empty() ? nullptr : NewText(m_c_node->doc, bytes);

  changes.PutText(m_c_node, c_text);
  for (Move& move : out) move.Release();
}

std::wstring IXMLDOMNode::get_xml() {
  RaiseFaultHere(FaultPoint::kGetXml);
  return FromUtf8(ToXml(m_c_node));
}

// --- Lists

void IXMLDOMNodeList::Refresh() {
  if (!m_Parent) return;
  xmlNode* c_parent = m_Parent->EngineNode();
  const IXMLDOMDocument2* document = &DocumentOf(c_parent);
  const unsigned long changes = ChangesOf(c_parent).Count();
  if (m_pDocument == document && m_Changes == changes) return;
  m_Children.clear();
  m_pDocument = nullptr;
  if (HoldsChildren(c_parent))
    for (xmlNode* c_node = c_parent->children; c_node != nullptr; c_node = c_node->next)
      m_Children.push_back(c_node);
  m_pDocument = document;
  m_Changes = changes;
}

long IXMLDOMNodeList::get_length() {
  Refresh();
  return static_cast<long>(m_Parent ? m_Children.size() : m_Nodes.size());
}

ComPtr<IXMLDOMNode> IXMLDOMNodeList::get_item(long index) {
  if (index < 0 || index >= get_length()) return nullptr;
  const auto at = static_cast<std::size_t>(index);
  return m_Parent ? Wrap(m_Children[at], m_Parent->TreeFragment()) : m_Nodes[at];
}

}  // namespace cfgex::internal
