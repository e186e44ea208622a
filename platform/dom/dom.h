// The XML document object model that the library works on: documents, nodes, lists.
//
// Node identity and lifetime. There is one object per node at most, so two pointers to one node are
// equal. A node keeps its document alive, also after it was cut out of the document's tree; a
// subtree that was cut out is freed with the last pointer to any node in it.
//
// Text is wide. Elements that are created live in no namespace.
//
// Failures raise _com_error; "none" and "false" below are answers. A failed change leaves the tree
// as it was. Lack of memory is no failure in this sense: it raises std::bad_alloc, also where the
// engine lacks it.
//
// Threads: a document and all that came from it belong to one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/os/com_ptr.h"
#include "platform/os/file.h"
#include "platform/tree/limits.h"

struct _xmlDoc;
struct _xmlNode;

namespace cfgex::internal {

class IXMLDOMAttribute;
class IXMLDOMDocument2;
class IXMLDOMElement;
class IXMLDOMNodeList;
class IXMLDOMSchemaCollection2;
class TreeChanges;
struct Fragment;

enum class DomNodeType { kElement = 1, kAttribute = 2, kText = 3, kOther = 4, kDocument = 9 };

// A node of any kind; of those that have no class below, it is the object.
class IXMLDOMNode : public Counted<IUnknown> {
 public:
  DomNodeType get_nodeType() const noexcept;

  // Evaluates an XPath 1.0 expression at this node: the first match in document order, or none. An
  // absolute path starts at the document, wherever in it this node is, and also from a node that
  // was cut out. A malformed path, one that does not yield nodes, and one that takes more
  // than 500 million steps is a failure.
  ComPtr<IXMLDOMNode> selectSingleNode(std::wstring_view path);
  // All matches in document order, as they are at the time of the call.
  ComPtr<IXMLDOMNodeList> selectNodes(std::wstring_view path);

  ComPtr<IXMLDOMNode> get_parentNode();  // none for a document, an attribute, what was cut out
  // The children in document order; the list follows every later change of them.
  ComPtr<IXMLDOMNodeList> get_childNodes();
  ComPtr<IXMLDOMDocument2> get_ownerDocument();  // none for a document

  // Puts `node`, an element, at the end of the children, or in the place of the child `oldNode`.
  // The element is moved from wherever it is, another document included, with all below it. Both
  // return the node that the caller might lose: the first `node`, the second `oldNode`, now cut
  // out. A document takes no second root. A failure when `node` is absent, no element, or an
  // ancestor of this node, when `oldNode` is no child of this node, and when the tree would become
  // deeper than kMaxDepth. Replacing a node by itself changes nothing.
  //
  // Namespaces: what moves keeps the names that it has; declarations that it needs go with it,
  // those that its new place has already are dropped.
  ComPtr<IXMLDOMNode> appendChild(const ComPtr<IXMLDOMNode>& node);
  ComPtr<IXMLDOMNode> replaceChild(const ComPtr<IXMLDOMNode>& node,
                                   const ComPtr<IXMLDOMNode>& oldNode);
  // Cuts `node` out and returns it. A failure when it is no child of this node.
  ComPtr<IXMLDOMNode> removeChild(const ComPtr<IXMLDOMNode>& node);
  // A copy with all below it, in no tree, of the same document. `deep` is true. A failure for a
  // document and an attribute.
  ComPtr<IXMLDOMNode> cloneNode(bool deep);

  // The text of the node and all below it, comments left out.
  std::wstring get_text();
  // The element, or attribute, holds this one text afterwards and nothing else; attributes of the
  // element stay. A failure, and nothing changed, for characters that XML cannot carry, for more
  // than kMaxTextBytes, and for other nodes.
  void put_text(std::wstring_view text);
  // The node as XML, without added white space and without an XML declaration.
  std::wstring get_xml();

  // For this room, which knows the engine:
  // the object of a node that has none yet (see Wrap), in `fragment`, or in the document's tree;
  IXMLDOMNode(_xmlNode* c_node, Fragment* fragment) noexcept;
  // the node, which stays the object's; the fragment that it is in, null for the document's tree.
  _xmlNode* EngineNode() const noexcept { return m_c_node; }
  Fragment* TreeFragment() const noexcept { return m_pFragment; }
  void MoveTo(Fragment* fragment) noexcept { m_pFragment = fragment; }

 protected:
  // A document, which sets its node.
  explicit IXMLDOMNode(std::nullptr_t) noexcept : m_c_node(nullptr) {}
  ~IXMLDOMNode() override;

  _xmlNode* m_c_node;  // a document's changes once, when it is loaded

 private:
  Fragment* m_pFragment = nullptr;
};

class IXMLDOMAttribute final : public IXMLDOMNode {
 public:
  using IXMLDOMNode::IXMLDOMNode;
};

class IXMLDOMElement final : public IXMLDOMNode {
 public:
  using IXMLDOMNode::IXMLDOMNode;

  std::wstring get_tagName();  // as written, with a prefix if it has one
  // The value of the attribute with this name as written, the names of namespace declarations
  // included ("xmlns:xsi"); nothing when there is none.
  std::optional<std::wstring> getAttribute(std::wstring_view name);
  // Sets or adds. "xmlns" and "xmlns:..." declare a namespace. An attribute of the same name in the
  // same namespace, but with another prefix, takes on this prefix. A failure for what is no name,
  // for a prefix that is not declared here, for a declaration that would change the namespace of
  // something in this element, and for characters that XML cannot carry.
  void setAttribute(std::wstring_view name, std::wstring_view value);
  // Sets or adds an attribute of the name, namespace and value of `attribute`, which createNode has
  // made. Where its prefix means another namespace here, another prefix is taken. A failure for
  // none and for an attribute of an element.
  void setAttributeNode(const ComPtr<IXMLDOMAttribute>& attribute);
};

// The text of an attribute that must be there: the conversion of an empty value fails.
std::wstring AttributeText(const std::optional<std::wstring>& value);

class IXMLDOMNodeList final : public Counted<IUnknown> {
 public:
  // These nodes, or the children that `parent` has at each call.
  explicit IXMLDOMNodeList(std::vector<ComPtr<IXMLDOMNode>> nodes) : m_Nodes(std::move(nodes)) {}
  explicit IXMLDOMNodeList(IXMLDOMNode& parent) : m_Parent(&parent) {}

  long get_length();
  // None past the end. Going through the list costs constant time per item while nothing changes.
  ComPtr<IXMLDOMNode> get_item(long index);

 private:
  void Refresh();

  std::vector<ComPtr<IXMLDOMNode>> m_Nodes;
  // Of a list of children: what they were when the document had changed so many times.
  ComPtr<IXMLDOMNode> m_Parent;
  std::vector<_xmlNode*> m_Children;
  const IXMLDOMDocument2* m_pDocument = nullptr;
  unsigned long m_Changes = 0;
};

// The outcome of a validation.
class IXMLDOMParseError final : public Counted<IUnknown> {
 public:
  IXMLDOMParseError(long code, long line, std::wstring reason)
      : m_Code(code), m_Line(line), m_Reason(std::move(reason)) {}

  long get_errorCode() const noexcept { return m_Code; }                // 0 means valid
  long get_line() const noexcept { return m_Line; }                     // from 1; 0 where not known
  const std::wstring& get_reason() const noexcept { return m_Reason; }  // of the first fault

 private:
  long m_Code;
  long m_Line;
  std::wstring m_Reason;
};

// The names by which a document's members are found: members are the element children of the
// elements `group` below the root `root`, and `key` is a child of theirs. All in no namespace.
struct MemberNames {
  const char* root;
  const char* group;
  const char* key;
};

class IXMLDOMDocument2 final : public IXMLDOMNode {
 public:
  IXMLDOMDocument2();

  // The settings that the library makes. The first takes only false, the third only false: loading
  // is always complete when it returns, and tests well-formedness only. The second is accepted and
  // changes nothing: a document has nothing external, see `load`.
  void put_async(bool async);
  void put_resolveExternals(bool /*resolve*/) {}
  void put_validateOnParse(bool validate);

  // Reads and parses a file, or parses a text (whose declared encoding is ignored). False, and the
  // document stays empty, when there is no such file or it is too large (see ReadWholeFile), or the
  // text
  //   - is not well-formed, prefixes without a declaration included;
  //   - has a document type declaration;
  //   - nests elements deeper than kMaxDepth;
  //   - has an element with more than kMaxElementAttributes attributes, or with more namespaces
  //     declared on it and around it than that.
  // A document is loaded once: a second load after a successful one is a failure, as is a load into
  // a document that has a root.
  //
  // White space between child elements is not kept, unless other text is among them too; the text
  // of an element without child elements is kept to the character.
  //
  // `load` raises FileNotRead when the file could not be read, which says nothing about its
  // content.
  bool load(std::wstring_view path);
  bool loadXML(std::wstring_view text);

  // Replaces the file as a whole: after a failure it holds what it held. UTF-8, with an XML
  // declaration, two blanks per level, lines ended by LF. A failure for an empty document, and for
  // one whose file would be too large to be loaded.
  void save(std::wstring_view path);
  // The file that was loaded or saved last, as it was then.
  const FileState& get_file() const noexcept;

  ComPtr<IXMLDOMElement> get_documentElement();  // none when empty
  // An element in no tree. A failure for what is no XML name without a colon.
  ComPtr<IXMLDOMElement> createElement(std::wstring_view tagName);
  // An attribute in no element, with a prefixed name in a namespace, or without both. Other node
  // types fail.
  ComPtr<IXMLDOMNode> createNode(DomNodeType type, std::wstring_view name,
                                 std::wstring_view namespaceUri);

  // Binds the document to schemas, once; `validate` and declarations come from them.
  void putref_schemas(const ComPtr<IXMLDOMSchemaCollection2>& schemas);
  // What was bound, or none.
  ComPtr<IXMLDOMSchemaCollection2> get_namespaces() const;
  // Validates the whole document as it is. The document is not changed by it. A failure when no
  // schemas are bound or the document is empty.
  ComPtr<IXMLDOMParseError> validate();

  // What these paths select, answered from an index, in a time that does not depend on the size of
  // the document. `names` is a constant, the same one in all calls for one document; `name` may be
  // "*" where a key is given, for any element.
  //   /root/group/NAME                   the first
  ComPtr<IXMLDOMElement> FirstMember(const MemberNames& names, std::wstring_view name);
  //   /root/group/NAME[key='VALUE']      the first
  ComPtr<IXMLDOMElement> MemberWithKey(const MemberNames& names, std::wstring_view name,
                                       std::wstring_view value);
  //   /root/group/NAME[key='VALUE']//key all, in document order; this takes the time, besides, to
  //                                      go through the members found
  ComPtr<IXMLDOMNodeList> KeysInMember(const MemberNames& names, std::wstring_view name,
                                       std::wstring_view value);

  // For this room: takes over a tree that was parsed, as `load` does, false for none; what belongs
  // to the document and to no node of it (dom_document.h).
  bool Adopt(_xmlDoc* c_tree);
  struct State;
  State& Own() noexcept { return *m_pState; }

 private:
  ~IXMLDOMDocument2() override;
  void SetTree() noexcept;

  std::unique_ptr<State> m_pState;
};

}  // namespace cfgex::internal
