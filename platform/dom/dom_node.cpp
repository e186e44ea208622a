#include "platform/dom/dom_node.h"

#include <algorithm>

#include "cfgex/com_error.h"
#include "platform/dom/dom_document.h"
#include "platform/dom/path.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"
#include "platform/tree/engine.h"
#include "platform/tree/namespaces.h"
#include "platform/tree/serializer.h"

namespace cfgex::internal {
namespace {

template <class T>
ComPtr<IXMLDOMNode> MakeObject(xmlNode* c_node, Fragment* fragment) {
  return MakeCounted<T>(DocumentOf(c_node), fragment, c_node);
}

[[noreturn]] void Refuse(const char* what) { throw _com_error(_com_error::kInvalidArgument, what); }

}  // namespace

xmlNode* EngineNode(IXMLDOMNode* node) {
  if (auto* wrapper = dynamic_cast<Wrapper*>(node)) return wrapper->m_c_node;
  auto* document = dynamic_cast<Document*>(node);
  return document != nullptr ? reinterpret_cast<xmlNode*>(document->Tree()) : nullptr;
}

ComPtr<IXMLDOMNode> Wrap(xmlNode* c_node, Fragment* fragment) {
  if (c_node->type == XML_DOCUMENT_NODE) return ComPtr<IXMLDOMNode>(&DocumentOf(c_node));
  if (Wrapper* wrapper = Wrapper::Of(c_node)) return ComPtr<IXMLDOMNode>(&wrapper->Node());
  switch (c_node->type) {
    case XML_ELEMENT_NODE:
      return MakeObject<Element>(c_node, fragment);
    case XML_ATTRIBUTE_NODE:
      return MakeObject<Attribute>(c_node, fragment);
    default:
      return MakeObject<OtherNode>(c_node, fragment);
  }
}

ComPtr<IXMLDOMNode> WrapNew(xmlNode* c_node, xmlNs* c_ownNs) {
  try {
    auto fragment = std::make_unique<Fragment>(nullptr);
    ComPtr<IXMLDOMNode> node = Wrap(c_node, fragment.get());
    fragment->c_root = c_node;
    fragment->c_ownNs = c_ownNs;
    static_cast<void>(fragment.release());  // its wrappers own it now
    return node;
  } catch (...) {
    xmlFreeNode(c_node);
    if (c_ownNs != nullptr) xmlFreeNs(c_ownNs);
    throw;
  }
}

// --- Lists

namespace {

class SelectedNodes final : public Counted<IXMLDOMNodeList> {
 public:
  explicit SelectedNodes(std::vector<ComPtr<IXMLDOMNode>> nodes) : m_Nodes(std::move(nodes)) {}
  long get_length() override { return static_cast<long>(m_Nodes.size()); }
  ComPtr<IXMLDOMNode> get_item(long index) override {
    if (index < 0 || index >= get_length()) return nullptr;
    return m_Nodes[static_cast<std::size_t>(index)];
  }

 private:
  std::vector<ComPtr<IXMLDOMNode>> m_Nodes;
};

// The children as they are at each call. A cursor stands at the child that was asked for last; it,
// and the length, hold until the document changes.
class Children final : public Counted<IXMLDOMNodeList> {
 public:
  Children(IXMLDOMNode& holder, xmlNode* c_parent) : m_Holder(&holder), m_c_parent(c_parent) {}

  long get_length() override {
    Refresh();
    if (m_Length < 0) {
      m_Length = 0;
      for (const xmlNode* c_node = First(); c_node != nullptr; c_node = c_node->next) ++m_Length;
    }
    return m_Length;
  }

  ComPtr<IXMLDOMNode> get_item(long index) override {
    Refresh();
    if (index < 0) return nullptr;
    if (m_c_cursor == nullptr || index < m_Index / 2) {
      m_c_cursor = First();
      m_Index = 0;
    }
    while (m_c_cursor != nullptr && m_Index > index) Step(m_c_cursor->prev, -1);
    while (m_c_cursor != nullptr && m_Index < index) Step(m_c_cursor->next, 1);
    return m_c_cursor != nullptr ? Wrap(m_c_cursor, FragmentOf(m_c_parent)) : nullptr;
  }

 private:
  xmlNode* First() const noexcept {
    return HoldsChildren(m_c_parent) ? m_c_parent->children : nullptr;
  }
  void Step(xmlNode* c_node, long by) noexcept {
    m_c_cursor = c_node;
    m_Index += by;
  }
  void Refresh() noexcept {
    Document& document = DocumentOf(m_c_parent);
    if (m_pDocument == &document && m_Changes == document.Changes().Count()) return;
    m_pDocument = &document;
    m_Changes = document.Changes().Count();
    m_c_cursor = nullptr;
    m_Length = -1;
  }

  ComPtr<IXMLDOMNode> m_Holder;
  xmlNode* m_c_parent;
  const Document* m_pDocument = nullptr;
  unsigned long m_Changes = 0;
  long m_Length = -1;
  xmlNode* m_c_cursor = nullptr;
  long m_Index = 0;
};

// The fragment that a node found from `c_origin` stands in: a path leads to its own tree or into
// the document's.
Fragment* FragmentFrom(const xmlNode* c_origin, const xmlNode* c_found) noexcept {
  Fragment* fragment = FragmentOf(c_origin);
  return fragment == nullptr || IsInDocument(c_found) ? nullptr : fragment;
}

long DepthOf(const xmlNode* c_node) noexcept {
  long depth = 0;
  for (; c_node != nullptr && c_node->type == XML_ELEMENT_NODE; c_node = c_node->parent) ++depth;
  return depth;
}

long HeightOf(const xmlNode* c_root) noexcept {
  long height = 0;
  long level = 1;
  for (const xmlNode* c_node = c_root;;) {
    if (c_node->type == XML_ELEMENT_NODE) height = std::max(height, level);
    if (c_node->type == XML_ELEMENT_NODE && c_node->children != nullptr) {
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

// --- The operations

namespace dom {

DomNodeType NodeType(const xmlNode* c_node) noexcept {
  switch (c_node->type) {
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

ComPtr<IXMLDOMNode> SelectSingleNode(xmlNode* c_node, std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSelectSingleNode);
  xmlNode* c_found = FindFirst(c_node, path);
  return c_found != nullptr ? Wrap(c_found, FragmentFrom(c_node, c_found)) : nullptr;
}

ComPtr<IXMLDOMNodeList> SelectNodes(xmlNode* c_node, std::wstring_view path) {
  RaiseFaultHere(FaultPoint::kSelectNodes);
  std::vector<ComPtr<IXMLDOMNode>> nodes;
  for (xmlNode* c_found : FindAll(c_node, path))
    nodes.push_back(Wrap(c_found, FragmentFrom(c_node, c_found)));
  return MakeCounted<SelectedNodes>(std::move(nodes));
}

ComPtr<IXMLDOMNode> ParentNode(xmlNode* c_node) {
  xmlNode* c_parent = c_node->type == XML_ATTRIBUTE_NODE ? nullptr : c_node->parent;
  return c_parent != nullptr ? Wrap(c_parent, FragmentOf(c_node)) : nullptr;
}

ComPtr<IXMLDOMNodeList> ChildNodes(xmlNode* c_node, IXMLDOMNode& holder) {
  return MakeCounted<Children>(holder, c_node);
}

ComPtr<IXMLDOMDocument2> OwnerDocument(xmlNode* c_node) {
  if (c_node->type == XML_DOCUMENT_NODE) return nullptr;
  return ComPtr<IXMLDOMDocument2>(&DocumentOf(c_node));
}

ComPtr<IXMLDOMNode> AppendChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node) {
  RaiseFaultHere(FaultPoint::kAppendChild);
  const EngineScope scope;
  xmlNode* c_node = EngineNode(node.get());
  CheckInsertion(c_parent, c_node, nullptr);
  Move in = Move::To(c_node, c_parent);
  in.Unlink();
  in.Link();
  return node;
}

ComPtr<IXMLDOMNode> ReplaceChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node,
                                 const ComPtr<IXMLDOMNode>& oldNode) {
  RaiseFaultHere(FaultPoint::kReplaceChild);
  const EngineScope scope;
  xmlNode* c_node = EngineNode(node.get());
  xmlNode* c_old = EngineNode(oldNode.get());
  if (!IsChild(c_old, c_parent)) Refuse("replaceChild: not a child");
  CheckInsertion(c_parent, c_node, c_old);
  if (c_node == c_old) return oldNode;

  Move in = Move::To(c_node, c_parent);
  Move out = Move::Out(c_old, c_node);
  in.Unlink();
  in.LinkInPlaceOf(c_old);
  out.Release();
  return oldNode;
}

ComPtr<IXMLDOMNode> RemoveChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node) {
  RaiseFaultHere(FaultPoint::kRemoveChild);
  const EngineScope scope;
  xmlNode* c_node = EngineNode(node.get());
  if (!IsChild(c_node, c_parent)) Refuse("removeChild: not a child");
  Move out = Move::Out(c_node);
  out.Unlink();
  out.Release();
  return node;
}

ComPtr<IXMLDOMNode> CloneNode(xmlNode* c_node, bool deep) {
  RaiseFaultHere(FaultPoint::kCloneNode);
  const EngineScope scope;
  if (!deep || c_node->type == XML_DOCUMENT_NODE || c_node->type == XML_ATTRIBUTE_NODE)
    Refuse("cloneNode: shallow, or a document or attribute");
  DocumentOf(c_node).FixDeclaration(c_node);
  xmlNode* c_copy = CopyTree(c_node);
  if (c_node->type == XML_ELEMENT_NODE) c_copy->psvi = c_node->psvi;
  return WrapNew(c_copy);
}

std::wstring Text(xmlNode* c_node) {
  RaiseFaultHere(FaultPoint::kGetText);
  const xmlNode* c_child = c_node->type == XML_ELEMENT_NODE ? c_node->children : nullptr;
  if (c_child != nullptr && c_child->next == nullptr && c_child->type == XML_TEXT_NODE)
    return FromUtf8(Chars(c_child->content));
  return FromUtf8(TextOf(c_node));
}

void PutText(xmlNode* c_node, std::wstring_view text) {
  RaiseFaultHere(FaultPoint::kPutText);
  const EngineScope scope;
  const std::string bytes = EngineText(text);
  if (c_node->type == XML_ATTRIBUTE_NODE) {
    auto* c_attr = reinterpret_cast<xmlAttr*>(c_node);
    DocumentOf(c_node).Changes().PutValue(c_attr, NewText(c_node->doc, bytes), c_attr->ns);
    return;
  }
  if (c_node->type != XML_ELEMENT_NODE) Refuse("put_text: not an element");

  std::vector<Move> out;
  for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
    out.push_back(Move::Out(c_child));
  xmlNode* c_text = bytes.empty() ? nullptr : NewText(c_node->doc, bytes);

  DocumentOf(c_node).Changes().PutText(c_node, c_text);
  for (Move& move : out) move.Release();
}

std::wstring Xml(xmlNode* c_node) {
  RaiseFaultHere(FaultPoint::kGetXml);
  return FromUtf8(ToXml(c_node));
}

}  // namespace dom
}  // namespace cfgex::internal
