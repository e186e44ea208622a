// The one way in which the tree of a document changes.
//
// Every link and unlink, text, attribute and namespace declaration of a node that has its place
// goes through here, and nothing else notifies what is kept about the tree. What Move does to a
// tree between two places is no change in this sense.
//
// Invariants, between two changes:
//   1. The index answers as a walk over the tree would (keyed_index.h).
//   2. What has changed since the document was found valid is noted as to be validated, or all of
//      it is (member_changes.h).
//   3. A part of the kept text that is not stale is what the serializer would write (file_text.h).
//   4. `psvi` of an element is null, or what the schema found for it in the place where it is
//      (schema_cache.h).
//   5. Count() differs from what it was before the last change of any node's children.
//
// The order of a change: index, validity and text are told what goes, while it is in its place; the
// nodes are linked; index, validity and text are told what came.
// A change raises nothing: its caller has done before all that can fail. Nodes in no document are
// changed in the same way; what is kept passes them over.
//
// After each change of a small document a debug build checks 1, and what a walk shows of 2 and 3;
// at each commit it compares 2 and 3 with the plain way.
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string_view>
#include <vector>

#include "platform/dom/keyed_index.h"
#include "platform/dom/member_changes.h"

namespace cfgex::internal {

class TreeChanges {
 public:
  // Links a node that is in no tree as the last child of `c_parent`, an attribute as the last of an
  // element.
  void Link(xmlNode* c_node, xmlNode* c_parent) noexcept;
  void LinkAttribute(xmlAttr* c_attr, xmlNode* c_element) noexcept;
  // Takes a node from its parent, if it has one.
  void Unlink(xmlNode* c_node) noexcept;
  // Links the child `c_new`, which is in no tree, in the place of `c_old`.
  void Replace(xmlNode* c_old, xmlNode* c_new) noexcept;
  // Unlinks the children of the element, whoever owns them then, and links `c_text`, if not null.
  void PutText(xmlNode* c_element, xmlNode* c_text) noexcept;
  // Replaces the text and the namespace of an attribute.
  void PutValue(xmlAttr* c_attr, xmlNode* c_text, xmlNs* c_ns) noexcept;
  // Adds a declaration to the element, or gives one that it has another URI, which it takes over.
  void Declare(xmlNode* c_element, xmlNs* c_ns) noexcept;
  void Redeclare(xmlNode* c_element, xmlNs* c_ns, xmlChar* c_uri) noexcept;
  // There is another tree.
  void Restart() noexcept;

  unsigned long Count() const noexcept { return m_Count; }

  // The index of the document, made when it is first asked. `names` is the same in all calls.
  const KeyedIndex& Index(const xmlDoc* c_document, const MemberNames& names);
  // The outcome that validating the whole document has (MemberChanges).
  ValidationOutcome Validate(xmlDoc* c_document, const SchemaCache& schemas) {
    return m_Members.Validate(c_document, schemas);
  }
  // The text of the document's file, in pieces that are good until the next change.
  std::vector<std::string_view> RenewText(const xmlDoc* c_document) {
    return m_Members.Text().Renew(c_document);
  }

 private:
  class ContentChange;

  bool IsRight(const xmlNode* c_changed) const noexcept;
  // Tells the index of a change of the node. Where the index lacks memory for it, or it is the root
  // that changes, the index is dropped, and made anew at the next question.
  template <class Change>
  void TellIndex(const xmlNode* c_node, Change&& change) noexcept;
  void TakeOut(xmlNode* c_node) noexcept;
  void PutIn(xmlNode* c_node, xmlNode* c_parent, xmlNode* c_before) noexcept;

  std::unique_ptr<KeyedIndex> m_pIndex;
  MemberChanges m_Members;
  unsigned long m_Count = 0;
};

}  // namespace cfgex::internal
