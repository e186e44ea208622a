// Documents for the tests of the tree and of what is kept beside it.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "platform/tree/parser.h"
#include "tests/support/support.h"

namespace test {

using Node = ComPtr<IXMLDOMNode>;
using DocumentPtr = ComPtr<IXMLDOMDocument2>;
using ElementPtr = ComPtr<IXMLDOMElement>;

inline DocumentPtr NewDocument() {
  return CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
}

// The document of a text, which must be well-formed.
inline DocumentPtr Load(std::wstring_view text) {
  DocumentPtr document = NewDocument();
  if (!document->loadXML(text)) throw std::runtime_error("not well-formed: " + Narrow(text));
  return document;
}

// The same as a tree of the engine.
inline XmlDocPtr Parse(const std::string& text, const std::string& url = "") {
  XmlDocPtr document = ParseXml(text, TextEncoding::kDeclared, url);
  if (document == nullptr) throw std::runtime_error("not well-formed: " + text);
  return document;
}

inline std::string Schema(const std::string& body, const std::string& attributes = "") {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' " + attributes + ">" + body +
         "</xs:schema>";
}

inline std::vector<Node> Select(const Node& node, std::wstring_view path) {
  const auto found = node->selectNodes(path);
  std::vector<Node> nodes;
  for (long i = 0; i < found->get_length(); ++i) nodes.push_back(found->get_item(i));
  return nodes;
}

}  // namespace test
