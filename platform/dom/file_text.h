// The text of a document's file, kept in parts, so that only the parts that have changed are made
// anew.
#pragma once

#include <libxml/tree.h>

#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/tree/serializer.h"

namespace cfgex::internal {

// Items are the root element, the elements below it, and the elements below those. A part is the
// text from the start tag of one item up to that of another: the end tags in between, comments and
// the like belong to it. The first part starts with the file, the last one ends with it.
//
// Invariants, unless nothing is kept:
//   1. m_Parts are the file in order. The text of a part that is not stale is what the serializer
//      writes from its first item up to the first of the next part.
//   2. m_Items holds the items that are on lines of their own, each with the part that it is in;
//      the others are covered by one that does, which does not indent.
//   3. Whether the root or a group indents changes only when the first element comes into it or the
//      last one leaves it: at everything else that comes or goes there Clear is called. Of an item
//      of the third level it has to be seen again after each change.
class FileText final : private FileTextObserver {
 public:
  // Call these when something in an item has changed, when an item has come (it is in its place),
  // and when it is about to go (it still is), with all items below it.
  void Changed(const xmlNode* c_item) noexcept;
  void Added(const xmlNode* c_item) noexcept;
  void Removing(const xmlNode* c_item) noexcept;
  // Call this at every other change outside of the items of the third level.
  void Clear() noexcept;

  bool HasItem(const xmlNode* c_item) const { return m_Items.contains(c_item); }
  std::size_t ItemCount() const noexcept { return m_Items.size(); }

  // The whole text in pieces, good until the next change.
  std::vector<std::string_view> Renew(const xmlDoc* c_document);

 private:
  struct Part {
    const xmlNode* c_first;
    std::string text;
    bool isStale = true;
  };
  using PartPlace = std::list<Part>::iterator;
  struct Item {
    PartPlace part;
    bool indents = false;  // has the items below it on lines of their own
  };

  bool MarkCovering(const xmlNode* c_item) noexcept;
  void Add(const xmlNode* c_item);
  void Remove(const xmlNode* c_item) noexcept;
  void RenewPart(const xmlDoc* c_document, PartPlace part);
  void AtItem(const xmlNode* c_item, std::string& text) override;
  bool IsKnownToIndent(const xmlNode* c_item) override;
  void SeenToIndent(const xmlNode* c_item) override;

  std::list<Part> m_Parts;
  std::unordered_map<const xmlNode*, Item> m_Items;
  // While a part is made: the one that is filled, and the size from which on it is full.
  PartPlace m_Filled;
  std::size_t m_FullSize = 0;
};

}  // namespace cfgex::internal
