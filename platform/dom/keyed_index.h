// Finds the members of a document by name, and by the text of their key (MemberNames in dom.h).
#pragma once

#include <libxml/tree.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/dom/dom.h"

namespace cfgex::internal {

// Answers are what XPath would give: a name matches only elements in no namespace, "*" any element.
//
// Invariants:
//   1. m_Names holds for each name of members how many there are, and the first in document order.
//      (A member in a namespace has no name here.)
//   2. Each key of each member is held once, under the hash of its text: in m_Single when it is
//      alone under that hash, else in m_Several.
//   3. No text is kept: what is found under a hash is compared with the tree. So the tree must
//      still have the old text when a key is taken out.
class KeyedIndex {
 public:
  // The index of what the document holds now. Both outlive it.
  KeyedIndex(const xmlDoc* c_document, const MemberNames& names);

  // The first element /root/group/name, or null.
  xmlNode* First(const std::string& name) const;
  // The elements /root/group/name[key='value'], in document order.
  std::vector<xmlNode*> WithKey(const std::string& name, const std::string& value) const;

  // Call these at every change of an element below the root; those in no document are passed over.
  // After a lack of memory, which they raise, the index is of no use.
  void Removing(xmlNode* c_element);  // it is still in its place
  void Added(xmlNode* c_element);     // it is in its place already
  // A change below a node may change the text of the key that it is or is in (KeyAbove; null for
  // none): that key is erased before and inserted after.
  xmlNode* KeyAbove(xmlNode* c_node) const noexcept;
  void EraseKey(xmlNode* c_key);
  void InsertKey(xmlNode* c_key);

  // Whether it is the index that would be made anew.
  bool IsRight() const;

 private:
  using Hash = std::uint64_t;
  struct Name {
    bool operator==(const Name&) const = default;

    xmlNode* c_first;
    std::size_t count;
  };

  bool IsGroup(const xmlNode* c_node) const noexcept;
  bool IsMember(const xmlNode* c_node) const noexcept;
  bool IsKey(const xmlNode* c_node) const noexcept;
  // The member after `c_member`, or the first of all for null; null at the end.
  xmlNode* NextMember(const xmlNode* c_member) const noexcept;
  void AddMember(xmlNode* c_member);
  void RemoveMember(xmlNode* c_member);
  // Calls `visit` for each key of a member.
  template <class F>
  void ForEachKey(const xmlNode* c_member, F&& visit);
  // Calls `change` for a member, or for each of those in a group.
  template <class F>
  void ForEachMember(xmlNode* c_node, F&& change);
  void PutInOrder(std::vector<xmlNode*>& members) const;

  const xmlDoc* m_c_document;
  const MemberNames& m_Is;
  std::unordered_map<std::string, Name> m_Names;
  std::unordered_map<Hash, xmlNode*> m_Single;
  std::unordered_map<Hash, std::unordered_set<xmlNode*>> m_Several;
};

}  // namespace cfgex::internal
