// The objects that stand for nodes.
#pragma once

#include <libxml/tree.h>

#include "platform/dom/dom.h"
#include "platform/dom/node_tree.h"

namespace cfgex::internal {

// The engine's node behind an object, a document included; null for none. It stays the object's.
xmlNode* EngineNode(IXMLDOMNode* node);

// What every node can do, as IXMLDOMNode says it; written once for all kinds of objects.
namespace dom {

DomNodeType NodeType(const xmlNode* c_node) noexcept;
ComPtr<IXMLDOMNode> SelectSingleNode(xmlNode* c_node, std::wstring_view path);
ComPtr<IXMLDOMNodeList> SelectNodes(xmlNode* c_node, std::wstring_view path);
ComPtr<IXMLDOMNode> ParentNode(xmlNode* c_node);
ComPtr<IXMLDOMNodeList> ChildNodes(xmlNode* c_node, IXMLDOMNode& holder);
ComPtr<IXMLDOMDocument2> OwnerDocument(xmlNode* c_node);
ComPtr<IXMLDOMNode> AppendChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node);
ComPtr<IXMLDOMNode> ReplaceChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node,
                                 const ComPtr<IXMLDOMNode>& oldNode);
ComPtr<IXMLDOMNode> RemoveChild(xmlNode* c_parent, const ComPtr<IXMLDOMNode>& node);
ComPtr<IXMLDOMNode> CloneNode(xmlNode* c_node, bool deep);
std::wstring Text(xmlNode* c_node);
void PutText(xmlNode* c_node, std::wstring_view text);
std::wstring Xml(xmlNode* c_node);

}  // namespace dom

// Implements IXMLDOMNode for a class that can name its node.
template <class I>
class NodeObject : public Counted<I> {
 public:
  DomNodeType get_nodeType() const override {
    return dom::NodeType(const_cast<NodeObject*>(this)->EnginePart());
  }
  ComPtr<IXMLDOMNode> selectSingleNode(std::wstring_view path) override {
    return dom::SelectSingleNode(EnginePart(), path);
  }
  ComPtr<IXMLDOMNodeList> selectNodes(std::wstring_view path) override {
    return dom::SelectNodes(EnginePart(), path);
  }
  ComPtr<IXMLDOMNode> get_parentNode() override { return dom::ParentNode(EnginePart()); }
  ComPtr<IXMLDOMNodeList> get_childNodes() override { return dom::ChildNodes(EnginePart(), *this); }
  ComPtr<IXMLDOMDocument2> get_ownerDocument() override { return dom::OwnerDocument(EnginePart()); }
  ComPtr<IXMLDOMNode> appendChild(const ComPtr<IXMLDOMNode>& node) override {
    return dom::AppendChild(EnginePart(), node);
  }
  ComPtr<IXMLDOMNode> replaceChild(const ComPtr<IXMLDOMNode>& node,
                                   const ComPtr<IXMLDOMNode>& oldNode) override {
    return dom::ReplaceChild(EnginePart(), node, oldNode);
  }
  ComPtr<IXMLDOMNode> removeChild(const ComPtr<IXMLDOMNode>& node) override {
    return dom::RemoveChild(EnginePart(), node);
  }
  ComPtr<IXMLDOMNode> cloneNode(bool deep) override { return dom::CloneNode(EnginePart(), deep); }
  std::wstring get_text() override { return dom::Text(EnginePart()); }
  void put_text(std::wstring_view text) override { dom::PutText(EnginePart(), text); }
  std::wstring get_xml() override { return dom::Xml(EnginePart()); }

 protected:
  virtual xmlNode* EnginePart() = 0;
};

// The same for a node that is no document.
template <class I>
class WrapperObject : public NodeObject<I>, public Wrapper {
 public:
  using Wrapper::Wrapper;
  IXMLDOMNode& Node() noexcept override { return *this; }

 protected:
  xmlNode* EnginePart() override { return m_c_node; }
};

using OtherNode = WrapperObject<IXMLDOMNode>;
using Attribute = WrapperObject<IXMLDOMAttribute>;

class Element final : public WrapperObject<IXMLDOMElement> {
 public:
  using WrapperObject::WrapperObject;
  std::wstring get_tagName() override;
  std::optional<std::wstring> getAttribute(std::wstring_view name) override;
  void setAttribute(std::wstring_view name, std::wstring_view value) override;
  void setAttributeNode(const ComPtr<IXMLDOMAttribute>& attribute) override;
};

}  // namespace cfgex::internal
