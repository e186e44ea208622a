#include "platform/dom/file_text.h"

#include <iterator>
#include <new>
#include <utility>

namespace cfgex::internal {
namespace {

// A changed item costs the serialisation of its part, and each part a place in the list and a piece
// of the write.
constexpr std::size_t kPartSize = 32768;

const xmlNode* ElementFrom(const xmlNode* c_node) noexcept {
  while (c_node != nullptr && c_node->type != XML_ELEMENT_NODE) c_node = c_node->next;
  return c_node;
}

const xmlNode* ElementBefore(const xmlNode* c_node) noexcept {
  do c_node = c_node->prev;
  while (c_node != nullptr && c_node->type != XML_ELEMENT_NODE);
  return c_node;
}

bool IsRoot(const xmlNode* c_item) noexcept {
  return c_item->parent == nullptr || c_item->parent->type == XML_DOCUMENT_NODE;
}
bool IsGroup(const xmlNode* c_item) noexcept { return !IsRoot(c_item) && IsRoot(c_item->parent); }

// The items around one in document order; null at the ends.
const xmlNode* NextItem(const xmlNode* c_item) noexcept {
  if (IsRoot(c_item)) return ElementFrom(c_item->children);
  if (IsGroup(c_item)) {
    if (const xmlNode* c_below = ElementFrom(c_item->children)) return c_below;
  }
  const xmlNode* c_next = ElementFrom(c_item->next);
  if (c_next != nullptr || IsGroup(c_item)) return c_next;
  return ElementFrom(c_item->parent->next);
}

const xmlNode* ItemBefore(const xmlNode* c_item) noexcept {
  const xmlNode* c_before = ElementBefore(c_item);
  if (c_before == nullptr) return c_item->parent;
  if (!IsGroup(c_before) || c_before->last == nullptr) return c_before;
  const xmlNode* c_last = c_before->last;
  if (c_last->type != XML_ELEMENT_NODE) c_last = ElementBefore(c_last);
  return c_last != nullptr ? c_last : c_before;
}

}  // namespace

// --- Being told

void FileText::Changed(const xmlNode* c_item) noexcept {
  if (m_Parts.empty()) return;
  const auto item = m_Items.find(c_item);
  if (item != m_Items.end()) {
    item->second.part->isStale = true;
    item->second.indents = false;
  } else if (!MarkCovering(c_item)) {
    Clear();
  }
}

void FileText::Added(const xmlNode* c_item) noexcept {
  if (m_Parts.empty()) return;
  try {
    Add(c_item);
    if (!IsGroup(c_item)) return;
    for (const xmlNode* c_below = ElementFrom(c_item->children); c_below != nullptr;
         c_below = ElementFrom(c_below->next))
      Add(c_below);
  } catch (const std::bad_alloc&) {
    Clear();
  }
}

void FileText::Removing(const xmlNode* c_item) noexcept {
  if (m_Parts.empty()) return;
  const bool hasItems = IsGroup(c_item) && IsKnownToIndent(c_item);
  Remove(c_item);
  if (!hasItems) return;
  for (const xmlNode* c_below = ElementFrom(c_item->children);
       c_below != nullptr && !m_Parts.empty(); c_below = ElementFrom(c_below->next))
    Remove(c_below);
}

void FileText::Clear() noexcept {
  m_Parts.clear();
  m_Items.clear();
}

// Returns whether there is a covering item; its part is stale then.
bool FileText::MarkCovering(const xmlNode* c_item) noexcept {
  for (const xmlNode* c_above = c_item->parent; c_above != nullptr; c_above = c_above->parent) {
    const auto found = m_Items.find(c_above);
    if (found == m_Items.end()) continue;
    if (found->second.indents) return false;
    found->second.part->isStale = true;
    return true;
  }
  return false;
}

// What follows the item before, end tags among it, is part of that one's text.
void FileText::Add(const xmlNode* c_item) {
  if (MarkCovering(c_item)) return;
  const auto before = m_Items.find(ItemBefore(c_item));
  if (before == m_Items.end()) return Clear();
  const PartPlace part = before->second.part;
  part->isStale = true;
  m_Items[c_item] = {part};
}

void FileText::Remove(const xmlNode* c_item) noexcept {
  const auto item = m_Items.find(c_item);
  if (item == m_Items.end()) {
    if (!MarkCovering(c_item)) Clear();
    return;
  }
  const PartPlace part = item->second.part;
  part->isStale = true;
  m_Items.erase(item);

  // Of what leaves together, the items before have gone already.
  const auto before = m_Items.find(ItemBefore(c_item));
  if (before != m_Items.end()) before->second.part->isStale = true;
  if (ElementBefore(c_item) == nullptr && ElementFrom(c_item->next) == nullptr) {
    const auto parent = m_Items.find(c_item->parent);
    if (parent != m_Items.end()) parent->second.indents = false;
  }

  if (part->c_first != c_item) return;
  const auto next = m_Items.find(NextItem(c_item));
  if (next != m_Items.end() && next->second.part == part) {
    part->c_first = next->first;
  } else {
    m_Parts.erase(part);
  }
}

// --- Writing

std::vector<std::string_view> FileText::Renew(const xmlDoc* c_document) {
  try {
    m_FullSize = 2 * kPartSize;  // a part may grow before it is cut
    if (m_Parts.empty()) {
      m_FullSize = kPartSize;
      m_Parts.push_back({xmlDocGetRootElement(c_document), {}});
    }
    std::vector<std::string_view> result;
    for (auto part = m_Parts.begin(); part != m_Parts.end(); ++part) {
      if (part->isStale) RenewPart(c_document, part);
      result.emplace_back(part->text);
    }
    return result;
  } catch (...) {
    Clear();
    throw;
  }
}

void FileText::RenewPart(const xmlDoc* c_document, PartPlace part) {
  const auto next = std::next(part);
  m_Filled = part;
  std::string rest = ToFileTextPart(c_document, part->c_first,
                                    next != m_Parts.end() ? next->c_first : nullptr, *this);
  rest.shrink_to_fit();
  m_Filled->text = std::move(rest);
  m_Filled->isStale = false;
}

void FileText::AtItem(const xmlNode* c_item, std::string& text) {
  // What comes before a part's first item belongs to it, however long it is.
  if (text.size() >= m_FullSize && c_item != m_Filled->c_first) {
    m_Filled->text = text;  // a copy, so that it takes no more memory than it needs
    m_Filled->isStale = false;
    text.clear();
    m_Filled = m_Parts.insert(std::next(m_Filled), {c_item, {}});
  }
  m_Items[c_item].part = m_Filled;
}

bool FileText::IsKnownToIndent(const xmlNode* c_item) {
  const auto item = m_Items.find(c_item);
  return item != m_Items.end() && item->second.indents;
}

void FileText::SeenToIndent(const xmlNode* c_item) { m_Items.at(c_item).indents = true; }

}  // namespace cfgex::internal
