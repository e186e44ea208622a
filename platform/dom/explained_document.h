// A document that says why it was refused, why it is not valid, and where its elements are.
//
// It is read by the rules of IXMLDOMDocument2::load, but nothing is kept silent. It belongs to one
// thread.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/dom/fault.h"
#include "platform/schema/schema_model.h"

namespace cfgex::internal {

class ExplainedDocument {
 public:
  // Reads the content of a file, which `path` names; or a text, whose declared encoding is
  // ignored. Never raises for what is in them.
  static ExplainedDocument FromBytes(std::string_view bytes, const std::wstring& path);
  static ExplainedDocument FromText(std::wstring_view text);

  ExplainedDocument(ExplainedDocument&&) noexcept;
  ExplainedDocument& operator=(ExplainedDocument&&) noexcept;
  ~ExplainedDocument();

  // The document; none when it was refused.
  ComPtr<IXMLDOMDocument2> Document() const;
  // Why it was refused, with the element that was open there; nothing when it was not.
  const std::optional<Fault>& Refusal() const;
  // Where the start tag of an element of this document, or of what was read until it was refused,
  // begins. The document must not have been changed.
  Place PlaceOf(const ComPtr<IXMLDOMNode>& element) const;

  // Holds the document against the schemas; the first `limit` faults, with their places. Raises
  // _com_error when there is no document, or the engine cannot do its work.
  FaultList Validate(const ComPtr<IXMLDOMSchemaCollection2>& schemas, std::size_t limit) const;

 private:
  class CImpl;
  explicit ExplainedDocument(std::unique_ptr<CImpl> impl);

  std::unique_ptr<CImpl> m_pImpl;
};

// An element among its siblings of the same name: which one it is, from 1, and of how many.
struct Siblings {
  std::size_t number = 1;
  std::size_t count = 1;
};
Siblings CountSiblings(const ComPtr<IXMLDOMElement>& element);

}  // namespace cfgex::internal
