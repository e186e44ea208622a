#include "platform/dom/keyed_index.h"

#include <sys/random.h>

#include <algorithm>
#include <string_view>

#include "platform/tree/namespaces.h"
#include "platform/tree/nodes.h"

namespace cfgex::internal {
namespace {

constexpr std::size_t kFewMatches = 16;  // more are put in order by a walk over all members

using Hash = std::uint64_t;

// A number that nobody outside of the process knows, or, where the system has none, that differs
// from one process to the next.
Hash Secret() noexcept {
  Hash secret = 0;
  if (::getrandom(&secret, sizeof secret, GRND_NONBLOCK) != sizeof secret)
    secret = reinterpret_cast<std::uintptr_t>(&secret) * 0x9e3779b97f4a7c15U;
  return secret;
}

// The value, at a secret point, of the polynomial whose coefficients are the bytes, over the field
// of 2^61 - 1 elements: a file's author cannot force collisions, which would make each look-up one
// through all keys.
Hash HashBytes(Hash hash, std::string_view bytes) noexcept {
  __extension__ using Wide = unsigned __int128;
  constexpr Hash kPrime = (Hash{1} << 61) - 1;
  static const Hash point = 256 + Secret() % (kPrime - 256);
  for (const char c : bytes) {
    const Wide next = Wide{hash} * point + static_cast<unsigned char>(c) + 1;
    hash = (static_cast<Hash>(next) & kPrime) + static_cast<Hash>(next >> 61);
    if (hash >= kPrime) hash -= kPrime;
  }
  return hash;
}
constexpr Hash kHashStart = 0;

Hash HashOfText(const xmlNode* c_node) {
  Hash hash = kHashStart;
  ForEachText(c_node, [&hash](const char* piece) { hash = HashBytes(hash, piece); });
  return hash;
}

bool HasText(const xmlNode* c_node, std::string_view text) {
  bool same = true;
  ForEachText(c_node, [&](std::string_view piece) {
    same = same && text.starts_with(piece);
    if (same) text.remove_prefix(piece.size());
  });
  return same && text.empty();
}

// Of two different children of one parent.
bool SiblingIsBefore(const xmlNode* c_a, const xmlNode* c_b) noexcept {
  const xmlNode* c_afterA = c_a->next;
  const xmlNode* c_afterB = c_b->next;
  for (;;) {
    if (c_afterA == c_b || c_afterB == nullptr) return true;
    if (c_afterB == c_a || c_afterA == nullptr) return false;
    c_afterA = c_afterA->next;
    c_afterB = c_afterB->next;
  }
}

bool MemberIsBefore(const xmlNode* c_a, const xmlNode* c_b) noexcept {
  if (c_a == c_b) return false;
  return c_a->parent == c_b->parent ? SiblingIsBefore(c_a, c_b)
                                    : SiblingIsBefore(c_a->parent, c_b->parent);
}

}  // namespace

KeyedIndex::KeyedIndex(const xmlDoc* c_document, const MemberNames& names)
    : m_c_document(c_document), m_Is(names) {
  for (xmlNode* c_node = NextMember(nullptr); c_node != nullptr; c_node = NextMember(c_node)) {
    if (c_node->ns == nullptr)
      ++m_Names.try_emplace(Chars(c_node->name), Name{c_node, 0}).first->second.count;
    ForEachKey(c_node, [this](xmlNode* c_key) { InsertKey(c_key); });
  }
}

// --- Where a node is

bool KeyedIndex::IsGroup(const xmlNode* c_node) const noexcept {
  return IsNamed(c_node, m_Is.group) && c_node->parent != nullptr &&
         IsNamed(c_node->parent, m_Is.root) &&
         c_node->parent->parent == reinterpret_cast<const xmlNode*>(m_c_document);
}

bool KeyedIndex::IsMember(const xmlNode* c_node) const noexcept {
  return IsElement(c_node) && c_node->parent != nullptr && IsGroup(c_node->parent);
}

bool KeyedIndex::IsKey(const xmlNode* c_node) const noexcept {
  return IsNamed(c_node, m_Is.key) && c_node->parent != nullptr && IsMember(c_node->parent);
}

xmlNode* KeyedIndex::KeyAbove(xmlNode* c_node) const noexcept {
  while (c_node != nullptr && !IsKey(c_node)) c_node = c_node->parent;
  return c_node;
}

xmlNode* KeyedIndex::NextMember(const xmlNode* c_member) const noexcept {
  const auto elementFrom = [](xmlNode* c_node) {
    while (c_node != nullptr && !IsElement(c_node)) c_node = c_node->next;
    return c_node;
  };
  xmlNode* c_group = nullptr;
  if (c_member != nullptr) {
    if (xmlNode* c_next = elementFrom(c_member->next)) return c_next;
    c_group = c_member->parent->next;
  } else if (const xmlNode* c_root = xmlDocGetRootElement(m_c_document)) {
    c_group = c_root->children;
  }
  for (; c_group != nullptr; c_group = c_group->next) {
    if (!IsGroup(c_group)) continue;
    if (xmlNode* c_first = elementFrom(c_group->children)) return c_first;
  }
  return nullptr;
}

template <class F>
void KeyedIndex::ForEachKey(const xmlNode* c_member, F&& visit) {
  for (xmlNode* c_child = c_member->children; c_child != nullptr; c_child = c_child->next)
    if (IsNamed(c_child, m_Is.key)) visit(c_child);
}

template <class F>
void KeyedIndex::ForEachMember(xmlNode* c_node, F&& change) {
  if (IsMember(c_node)) {
    change(c_node);
  } else if (IsGroup(c_node)) {
    for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
      if (IsElement(c_child)) change(c_child);
  }
}

// --- Answers

xmlNode* KeyedIndex::First(const std::string& name) const {
  const auto found = m_Names.find(name);
  return found != m_Names.end() ? found->second.c_first : nullptr;
}

std::vector<xmlNode*> KeyedIndex::WithKey(const std::string& name, const std::string& value) const {
  std::vector<xmlNode*> members;
  const auto take = [&](xmlNode* c_key) {
    const bool isNamed = name == "*" || IsNamed(c_key->parent, name);
    if (isNamed && HasText(c_key, value)) members.push_back(c_key->parent);
  };
  const Hash hash = HashBytes(kHashStart, value);
  if (const auto one = m_Single.find(hash); one != m_Single.end()) take(one->second);
  if (const auto many = m_Several.find(hash); many != m_Several.end())
    for (xmlNode* c_key : many->second) take(c_key);
  PutInOrder(members);
  return members;
}

void KeyedIndex::PutInOrder(std::vector<xmlNode*>& members) const {
  if (members.size() <= kFewMatches) {
    std::sort(members.begin(), members.end(), MemberIsBefore);
    members.erase(std::unique(members.begin(), members.end()), members.end());
    return;
  }
  const std::unordered_set<xmlNode*> wanted(members.begin(), members.end());
  members.clear();
  for (xmlNode* c_node = NextMember(nullptr); c_node != nullptr && members.size() < wanted.size();
       c_node = NextMember(c_node))
    if (wanted.contains(c_node)) members.push_back(c_node);
}

// --- Changes

void KeyedIndex::InsertKey(xmlNode* c_key) {
  const Hash hash = HashOfText(c_key);
  if (const auto many = m_Several.find(hash); many != m_Several.end()) {
    many->second.insert(c_key);
    return;
  }
  const auto [one, isNew] = m_Single.try_emplace(hash, c_key);
  if (isNew) return;
  m_Several[hash] = {one->second, c_key};
  m_Single.erase(one);
}

void KeyedIndex::EraseKey(xmlNode* c_key) {
  const Hash hash = HashOfText(c_key);
  if (m_Single.erase(hash) != 0) return;
  const auto many = m_Several.find(hash);
  if (many == m_Several.end()) return;
  many->second.erase(c_key);
  if (many->second.size() > 1) return;
  m_Single.emplace(hash, *many->second.begin());
  m_Several.erase(many);
}

void KeyedIndex::AddMember(xmlNode* c_member) {
  if (c_member->ns == nullptr) {
    Name& name = m_Names.try_emplace(Chars(c_member->name), Name{c_member, 0}).first->second;
    if (++name.count > 1 && MemberIsBefore(c_member, name.c_first)) name.c_first = c_member;
  }
  ForEachKey(c_member, [this](xmlNode* c_key) { InsertKey(c_key); });
}

void KeyedIndex::RemoveMember(xmlNode* c_member) {
  ForEachKey(c_member, [this](xmlNode* c_key) { EraseKey(c_key); });
  if (c_member->ns != nullptr) return;
  const auto found = m_Names.find(Chars(c_member->name));
  if (found == m_Names.end()) return;
  if (--found->second.count == 0) {
    m_Names.erase(found);
  } else if (found->second.c_first == c_member) {
    do {
      c_member = NextMember(c_member);
    } while (!IsNamed(c_member, found->first));
    found->second.c_first = c_member;
  }
}

void KeyedIndex::Added(xmlNode* c_element) {
  ForEachMember(c_element, [this](xmlNode* c_member) { AddMember(c_member); });
  if (IsKey(c_element)) InsertKey(c_element);
}

void KeyedIndex::Removing(xmlNode* c_element) {
  ForEachMember(c_element, [this](xmlNode* c_member) { RemoveMember(c_member); });
  if (IsKey(c_element)) EraseKey(c_element);
}

bool KeyedIndex::IsRight() const {
  const KeyedIndex made(m_c_document, m_Is);
  return m_Names == made.m_Names && m_Single == made.m_Single && m_Several == made.m_Several;
}

}  // namespace cfgex::internal
