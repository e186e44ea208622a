// The XML document object model that the library works on: documents, nodes, lists.
//
// Node identity and lifetime. There is one object per node at most, so two pointers to one node are
// equal. A node keeps its document alive, also after it was cut out of the document's tree; a
// subtree that was cut out is freed with the last pointer to any node in it.
//
// Text is wide. Elements that are created live in no namespace.
//
// Failures raise _com_error; "none" and "false" below are answers. A failed change leaves the tree
// as it was. Want of memory is no failure of the platform: it raises std::bad_alloc, also where the
// engine lacks it.
//
// Threads: a document and all that came from it belong to one thread at a time.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/os/com_ptr.h"
#include "platform/os/file.h"
#include "platform/tree/limits.h"

namespace cfgex::internal {

class IXMLDOMDocument2;
class IXMLDOMNodeList;
class IXMLDOMSchemaCollection2;

enum class DomNodeType { kElement = 1, kAttribute = 2, kText = 3, kOther = 4, kDocument = 9 };

class IXMLDOMNode : public IUnknown {
 public:
  virtual DomNodeType get_nodeType() const = 0;

  // Evaluates an XPath 1.0 expression at this node: the first match in document order, or none. An
  // absolute path starts at the document, wherever in it this node is, and also from a node that
  // was cut out. A malformed path, one that does not yield nodes, and one that takes more
  // than 500 million steps is a failure.
  virtual ComPtr<IXMLDOMNode> selectSingleNode(std::wstring_view path) = 0;
  // All matches in document order, as they stand at the time of the call.
  virtual ComPtr<IXMLDOMNodeList> selectNodes(std::wstring_view path) = 0;

  virtual ComPtr<IXMLDOMNode> get_parentNode() = 0;  // none for a document and what was cut out
  // The children in document order; the list follows every later change of them.
  virtual ComPtr<IXMLDOMNodeList> get_childNodes() = 0;
  virtual ComPtr<IXMLDOMDocument2> get_ownerDocument() = 0;  // a document gives none

  // Puts `node`, an element, at the end of the children, or in the place of the child `oldNode`.
  // The element is moved from wherever it is, another document included, with all below it. Both
  // give the node that the caller might lose: the first `node`, the second `oldNode`, now cut out.
  // A document takes no second root. A failure when `node` is absent, no element, or an ancestor of
  // this node, when `oldNode` is no child of this node, and when the tree would become deeper than
  // kMaxDepth. Replacing a node by itself changes nothing.
  //
  // Namespaces: what moves keeps the names that it has; declarations that it needs go with it,
  // those that its new place has already are dropped.
  virtual ComPtr<IXMLDOMNode> appendChild(const ComPtr<IXMLDOMNode>& node) = 0;
  virtual ComPtr<IXMLDOMNode> replaceChild(const ComPtr<IXMLDOMNode>& node,
                                           const ComPtr<IXMLDOMNode>& oldNode) = 0;
  // Cuts `node` out and gives it back. A failure when it is no child of this node.
  virtual ComPtr<IXMLDOMNode> removeChild(const ComPtr<IXMLDOMNode>& node) = 0;
  // A copy with all below it, in no tree, of the same document. `deep` is true. A failure for a
  // document and an attribute.
  virtual ComPtr<IXMLDOMNode> cloneNode(bool deep) = 0;

  // The text of the node and all below it, comments left out.
  virtual std::wstring get_text() = 0;
  // The element, or attribute, holds this one text afterwards and nothing else; attributes of the
  // element stay. A failure, and nothing changed, for characters that XML cannot carry, for more
  // than kMaxTextBytes, and for other nodes.
  virtual void put_text(std::wstring_view text) = 0;
  // The node as XML, without added white space and without an XML declaration.
  virtual std::wstring get_xml() = 0;
};

class IXMLDOMAttribute : public IXMLDOMNode {};

class IXMLDOMElement : public IXMLDOMNode {
 public:
  virtual std::wstring get_tagName() = 0;  // as written, with a prefix if it has one
  // The value of the attribute with this name as written, the names of namespace declarations
  // included ("xmlns:xsi"); nothing when there is none.
  virtual std::optional<std::wstring> getAttribute(std::wstring_view name) = 0;
  // Sets or adds. "xmlns" and "xmlns:..." declare a namespace. An attribute of the same name in the
  // same namespace, but with another prefix, takes on this prefix. A failure for what is no name,
  // for a prefix that is not declared here, for a declaration that would change the namespace of
  // something in this element, and for characters that XML cannot carry.
  virtual void setAttribute(std::wstring_view name, std::wstring_view value) = 0;
  // Adds an attribute made by createNode, in the place of one of the same name and namespace if
  // there is one. Where its prefix means another namespace here, it gets another prefix. A failure
  // for none and for an attribute of another element.
  virtual void setAttributeNode(const ComPtr<IXMLDOMAttribute>& attribute) = 0;
};

// The text of an attribute that must be there: the conversion of an empty value fails.
std::wstring AttributeText(const std::optional<std::wstring>& value);

class IXMLDOMNodeList : public IUnknown {
 public:
  virtual long get_length() = 0;
  // None past the end. Going through the list in order costs constant time per item.
  virtual ComPtr<IXMLDOMNode> get_item(long index) = 0;
};

// The outcome of a validation.
class IXMLDOMParseError : public IUnknown {
 public:
  virtual long get_errorCode() = 0;       // 0 means valid
  virtual long get_line() = 0;            // from 1; 0 where not known
  virtual std::wstring get_reason() = 0;  // of the first fault
};

class IXMLDOMDocument : public IXMLDOMNode {
 public:
  // The settings that the library makes. The first takes only false, the third only false: loading
  // is always complete when it returns, and tests well-formedness only. The second is accepted and
  // changes nothing: a document has nothing external, see `load`.
  virtual void put_async(bool async) = 0;
  virtual void put_resolveExternals(bool resolve) = 0;
  virtual void put_validateOnParse(bool validate) = 0;

  // Reads and parses a file, or parses a text (whose declared encoding is ignored). False, and the
  // document stays empty, when there is no such file or it is too large (see ReadWholeFile), or the
  // text is not well-formed (prefixes without a declaration included), has a document type
  // declaration, nests elements deeper than kMaxDepth, or has an element with more than
  // kMaxElementAttributes attributes, or with more namespaces declared on it and around it than
  // that. A document is loaded once: a second load after a successful one is a failure, as is a
  // load into a document that has a root.
  //
  // White space between child elements is not kept, unless other text stands among them too; the
  // text of an element without child elements is kept to the character.
  //
  // `load` raises FileNotRead when the file could not be read, which says nothing about its
  // content.
  virtual bool load(std::wstring_view path) = 0;
  virtual bool loadXML(std::wstring_view text) = 0;

  // Replaces the file as a whole: after a failure it holds what it held. UTF-8, with an XML
  // declaration, two blanks per level, lines ended by LF. A failure for an empty document, and for
  // one whose file would be too large to be loaded.
  virtual void save(std::wstring_view path) = 0;
  // The file that was loaded or saved last, as it was then.
  virtual const FileState& get_file() = 0;

  virtual ComPtr<IXMLDOMElement> get_documentElement() = 0;  // none when empty
  // An element in no tree. A failure for what is no XML name without a colon.
  virtual ComPtr<IXMLDOMElement> createElement(std::wstring_view tagName) = 0;
  // An attribute in no element, with a prefixed name in a namespace, or without both. Other node
  // types fail.
  virtual ComPtr<IXMLDOMNode> createNode(DomNodeType type, std::wstring_view name,
                                         std::wstring_view namespaceUri) = 0;
};

class IXMLDOMDocument2 : public IXMLDOMDocument {
 public:
  // Binds the document to schemas, once; `validate` and declarations come from them.
  virtual void putref_schemas(const ComPtr<IXMLDOMSchemaCollection2>& schemas) = 0;
  // What was bound, or none.
  virtual ComPtr<IXMLDOMSchemaCollection2> get_namespaces() = 0;
  // Validates the whole document as it stands. The document is not changed by it. A failure when
  // no schemas are bound or the document is empty.
  virtual ComPtr<IXMLDOMParseError> validate() = 0;
};

}  // namespace cfgex::internal
