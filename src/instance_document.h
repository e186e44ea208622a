// The stand-alone document: an instance outside the store, with all that it reaches, under a root
// that carries the header.
//
//   <Configuration xmlns:xsi="..." xsi:noNamespaceSchemaLocation="SCHEMA FILE"
//       instance_id="ID" major_version="1" minor_version="2" revision="3">
//     <Category> the instance </Category>
//     <Category> instances of one category that it reaches </Category> ...
//   </Configuration>
//
// If the XML platform fails, each step returns its failure value and raises nothing.
#pragma once

#include <optional>
#include <string>

#include "cfgex/cfg_Option.h"
#include "platform/dom/dom.h"

namespace cfgex::internal {

// A new empty document that is bound to the schema of `option` and made ready to load; none when
// the option is not initialised or no document can be made.
ComPtr<IXMLDOMDocument2> NewDocument(const CCfgOption& option);

// Whether the document, as it is, is valid. If not, `failureText` names the first fault:
// "At line ", the line, a newline, the reason. Unchanged if the document is valid, or if validating
// failed.
bool ValidateDocument(const ComPtr<IXMLDOMDocument2>& document, std::wstring& failureText);

// Makes a document that holds the header alone, with the version of the schema in use, and returns
// its root element, which keeps it alive. A null `instanceId` makes the empty one. None when the
// option is not initialised, when the schema does not allow the bare header, and when the id or the
// schema's path holds a double quote, "&" or "<": they are in the header as they are.
ComPtr<IXMLDOMElement> CreateHeaderDocument(const wchar_t* instanceId, CCfgOption& option);

// Whether `text` is a well-formed and valid document.
bool ParseInstanceDocument(const wchar_t* text, const CCfgOption& option,
                           std::wstring& failureText);

// Makes the document name the schema in use, whatever it named before.
void ApplySchemaLocation(const ComPtr<IXMLDOMElement>& root, CCfgOption& option);

// A document made from a text, and the instance that it is about.
struct IncomingInstance {
  ComPtr<IXMLDOMDocument2> document;  // set as soon as one was made
  std::optional<std::wstring> id;     // the header's `instance_id`; set when the document is valid
  ComPtr<IXMLDOMElement> element;     // the instance with that id; set when there is one
};

// Parses `xml`, makes it name the schema in use, validates it, and finds the instance that its
// header names. Raises _com_error where the platform fails outside the steps above.
IncomingInstance ReadIncomingInstance(const wchar_t* xml, CCfgOption& option);

}  // namespace cfgex::internal
