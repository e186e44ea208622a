// Finds the elements of the third level of a document by name, and by the text of a child.
#pragma once

#include <libxml/tree.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace cfgex::internal {

class GroupIndex;

// The indexes of one document, each made when it is first asked for. Level 1 is the root R, level 2
// its children G, level 3 the elements, level 4 their keys K.
//
// Answers are what XPath would give: names match only elements in no namespace, "*" any element.
class KeyedIndexes {
 public:
  KeyedIndexes() noexcept;
  ~KeyedIndexes();
  KeyedIndexes(const KeyedIndexes&) = delete;
  KeyedIndexes& operator=(const KeyedIndexes&) = delete;

  // The first element /root/group/name, or null. Nothing when there are too many indexes already.
  std::optional<xmlNode*> First(xmlDoc* c_document, const std::string& root,
                                const std::string& group, const std::string& name);
  // The elements /root/group/name[key='value'], in document order.
  std::optional<std::vector<xmlNode*>> WithKey(xmlDoc* c_document, const std::string& root,
                                               const std::string& group, const std::string& name,
                                               const std::string& key, const std::string& value);

  // To be told of every change in the document's tree; nodes in no document are passed over. A lack
  // of memory drops the indexes, which are made anew when they are asked for.
  void Removing(xmlNode* c_node) noexcept;  // it is still in its place
  void Added(xmlNode* c_node) noexcept;     // it is in its place already
  // A change below `c_parent` may change the text of the key that it is or is in: the index forgets
  // that key before and learns it after. Gives the key, or null for none.
  xmlNode* ForgetKeyAbove(xmlNode* c_parent) noexcept;
  void LearnKey(xmlNode* c_key) noexcept;
  // Everything changed.
  void Clear() noexcept;

  // Whether the indexes are those that would be made anew.
  bool IsRight() const;

 private:
  GroupIndex* Get(xmlDoc* c_document, const std::string& root, const std::string& group);

  std::vector<std::unique_ptr<GroupIndex>> m_Groups;
};

// Whether the node is an element of that name in no namespace.
bool IsNamed(const xmlNode* c_node, const std::string& name) noexcept;
// Whether the node is an element that XPath's name test matches, "*" included.
bool MatchesStep(const xmlNode* c_node, const std::string& step) noexcept;
// Whether the element has a child `key` whose text is `value`.
bool HasKey(const xmlNode* c_element, const std::string& key, const std::string& value);

}  // namespace cfgex::internal
