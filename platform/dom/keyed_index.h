// Finds the members of a document by name, and by the text of their key (MemberNames in dom.h).
#pragma once

#include <libxml/tree.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// The index of one document, made when it is first asked. Answers are what XPath would give: a name
// matches only elements in no namespace, "*" any element.
class KeyedIndex {
 public:
  KeyedIndex() noexcept;
  ~KeyedIndex();
  KeyedIndex(const KeyedIndex&) = delete;
  KeyedIndex& operator=(const KeyedIndex&) = delete;

  // The first element /root/group/name, or null. `names` is the same in all calls.
  xmlNode* First(xmlDoc* c_document, const MemberNames& names, const std::string& name);
  // The elements /root/group/name[key='value'], in document order.
  std::vector<xmlNode*> WithKey(xmlDoc* c_document, const MemberNames& names,
                                const std::string& name, const std::string& value);

  // Call these at every change in the document's tree; nodes in no document are passed over. A lack
  // of memory drops the index, which is then made anew at the next question.
  void Removing(xmlNode* c_node) noexcept;  // it is still in its place
  void Added(xmlNode* c_node) noexcept;     // it is in its place already
  // A change below `c_parent` may change the text of the key that it is or is in: the index forgets
  // that key before and learns it after. Returns the key, or null for none.
  xmlNode* ForgetKeyAbove(xmlNode* c_parent) noexcept;
  void LearnKey(xmlNode* c_key) noexcept;
  // Everything changed.
  void Clear() noexcept;

  // Whether the index is the one that would be made anew.
  bool IsRight() const;

 private:
  class Parts;

  Parts& Get(xmlDoc* c_document, const MemberNames& names);
  // Runs a change of the parts, which are dropped if it raises.
  template <class Change>
  void Try(Change&& change) noexcept;

  std::unique_ptr<Parts> m_pParts;
};

}  // namespace cfgex::internal
