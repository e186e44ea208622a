// What has changed in a document since it was validated and written last, so that only that has to
// be validated and written out anew.
#pragma once

#include <libxml/tree.h>

#include <unordered_set>

#include "platform/dom/file_text.h"
#include "platform/schema/schema_cache.h"

namespace cfgex::internal {

// Groups are the children of the root, members theirs; the frame is everything but the members.
class MemberChanges {
 public:
  // Call these at every change in the document's tree; nodes in no document are passed over.
  void Removing(const xmlNode* c_node) noexcept;  // it is still in its place
  void Added(xmlNode* c_node) noexcept;           // it is in its place already
  void Changed(xmlNode* c_element) noexcept;      // its text or its attributes
  // Everything changed.
  void Clear() noexcept;

  // The outcome that validating the whole document has. Only what changed is validated where the
  // schema allows that.
  ValidationOutcome Validate(xmlDoc* c_document, const SchemaCache& schemas);

  // Whether all that is noted is in the tree.
  bool IsRight(const xmlDoc* c_document) const;

  // The text of the document's file; groups and members are its items.
  FileText& Text() noexcept { return m_Text; }

 private:
  bool AreChangesValid(const xmlDoc* c_document, const SchemaCache& schemas);
  void ForgetValidity() noexcept;
  void MarkChanged(xmlNode* c_member) noexcept;
  void MarkPending(xmlNode* c_element) noexcept;

  bool m_IsFrameValid = false;
  std::unordered_set<xmlNode*> m_Pending;  // new groups, and members that are new or changed
  FileText m_Text;
};

}  // namespace cfgex::internal
