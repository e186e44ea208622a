// Definitions. In a document whose root is named R: a group is a child of the root named G; a
// member is an element child of a group; a key K of a member is a child of it named K. Names are in
// no namespace (members may be in one, but then they have no name here).
//
// Invariants, of the index for (R, G), as far as its parts have been made:
//   1. For each name of members, m_Names holds how many there are and the first in document order.
//   2. For each K asked for, a KeyIndex holds each key K of each member once, under the hash of its
//      text: in `single` when it is alone under that hash, else in `several`.
//   3. No text is kept: what is found under a hash is compared with the tree. So the tree must
//      still have the old text when a key is taken out.
#include "platform/dom/keyed_index.h"

#include <sys/random.h>

#include <algorithm>
#include <cstring>

#include "platform/dom/node_tree.h"
#include "platform/tree/namespaces.h"

namespace cfgex::internal {
namespace {

constexpr std::size_t kMaxGroups = 4;
constexpr std::size_t kMaxKeys = 4;
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
// of 2^61 - 1 elements. So who writes a file cannot choose texts that meet under one hash, and make
// each look-up one through all of them.
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

bool IsElement(const xmlNode* c_node) noexcept { return c_node->type == XML_ELEMENT_NODE; }

struct KeyIndex {
  bool operator==(const KeyIndex&) const = default;

  std::string key;
  std::unordered_map<Hash, xmlNode*> single;
  std::unordered_map<Hash, std::unordered_set<xmlNode*>> several;

  void Insert(xmlNode* c_key);
  void Erase(xmlNode* c_key);
  // Calls `visit` with each key under the hash of the text.
  template <class F>
  void ForEach(std::string_view text, F&& visit) const;
};

void KeyIndex::Insert(xmlNode* c_key) {
  const Hash hash = HashOfText(c_key);
  if (const auto many = several.find(hash); many != several.end()) {
    many->second.insert(c_key);
    return;
  }
  const auto [one, isNew] = single.try_emplace(hash, c_key);
  if (isNew) return;
  several[hash] = {one->second, c_key};
  single.erase(one);
}

void KeyIndex::Erase(xmlNode* c_key) {
  const Hash hash = HashOfText(c_key);
  if (single.erase(hash) != 0) return;
  const auto many = several.find(hash);
  if (many == several.end()) return;
  many->second.erase(c_key);
  if (many->second.size() > 1) return;
  single.emplace(hash, *many->second.begin());
  several.erase(many);
}

template <class F>
void KeyIndex::ForEach(std::string_view text, F&& visit) const {
  const Hash hash = HashBytes(kHashStart, text);
  if (const auto one = single.find(hash); one != single.end()) visit(one->second);
  if (const auto many = several.find(hash); many != several.end())
    for (xmlNode* c_key : many->second) visit(c_key);
}

}  // namespace

bool IsNamed(const xmlNode* c_node, const std::string& name) noexcept {
  return IsElement(c_node) && c_node->ns == nullptr && name == Chars(c_node->name);
}

bool MatchesStep(const xmlNode* c_node, const std::string& step) noexcept {
  return step == "*" ? IsElement(c_node) : IsNamed(c_node, step);
}

bool HasKey(const xmlNode* c_element, const std::string& key, const std::string& value) {
  for (const xmlNode* c_child = c_element->children; c_child != nullptr; c_child = c_child->next)
    if (IsNamed(c_child, key) && HasText(c_child, value)) return true;
  return false;
}

// The index for one (R, G).
class GroupIndex {
 public:
  GroupIndex(xmlDoc* c_document, std::string root, std::string group)
      : m_c_document(c_document), m_Root(std::move(root)), m_Group(std::move(group)) {}

  bool IsFor(const std::string& root, const std::string& group) const {
    return m_Root == root && m_Group == group;
  }
  xmlNode* First(const std::string& name);
  std::optional<std::vector<xmlNode*>> WithKey(const std::string& name, const std::string& key,
                                               const std::string& value);
  void Removing(xmlNode* c_node);
  void Added(xmlNode* c_node);
  // `c_key` stands on level 4. Whether it is a key here.
  bool ForgetKey(xmlNode* c_key);
  void LearnKey(xmlNode* c_key);
  bool IsRight() const;

 private:
  struct Name {
    bool operator==(const Name&) const = default;

    xmlNode* c_first;
    std::size_t count;
  };
  using Names = std::unordered_map<std::string, Name>;

  bool IsGroup(const xmlNode* c_node) const noexcept;
  bool IsMember(const xmlNode* c_node) const noexcept {
    return IsElement(c_node) && c_node->parent != nullptr && IsGroup(c_node->parent);
  }
  // The member after `c_member`, or the first of all for null; null at the end.
  xmlNode* NextMember(const xmlNode* c_member) const noexcept;
  KeyIndex* GetKeyIndex(const std::string& key);
  void AddMember(xmlNode* c_member);
  void RemoveMember(xmlNode* c_member);
  static void AddKeys(KeyIndex& index, xmlNode* c_member);
  void PutInOrder(std::vector<xmlNode*>& members) const;

  xmlDoc* m_c_document;
  std::string m_Root;
  std::string m_Group;
  std::unique_ptr<Names> m_Names;
  std::vector<std::unique_ptr<KeyIndex>> m_Keys;
};

bool GroupIndex::IsGroup(const xmlNode* c_node) const noexcept {
  return IsNamed(c_node, m_Group) && c_node->parent != nullptr && IsNamed(c_node->parent, m_Root) &&
         c_node->parent->parent == reinterpret_cast<const xmlNode*>(m_c_document);
}

xmlNode* GroupIndex::NextMember(const xmlNode* c_member) const noexcept {
  xmlNode* c_group = nullptr;
  if (c_member == nullptr) {
    const xmlNode* c_root = xmlDocGetRootElement(m_c_document);
    if (c_root == nullptr) return nullptr;
    c_group = c_root->children;
  } else {
    for (xmlNode* c_node = c_member->next; c_node != nullptr; c_node = c_node->next)
      if (IsElement(c_node)) return c_node;
    c_group = c_member->parent->next;
  }
  for (; c_group != nullptr; c_group = c_group->next) {
    if (!IsGroup(c_group)) continue;
    for (xmlNode* c_node = c_group->children; c_node != nullptr; c_node = c_node->next)
      if (IsElement(c_node)) return c_node;
  }
  return nullptr;
}

xmlNode* GroupIndex::First(const std::string& name) {
  if (m_Names == nullptr) {
    auto names = std::make_unique<Names>();
    for (xmlNode* c_node = NextMember(nullptr); c_node != nullptr; c_node = NextMember(c_node)) {
      if (c_node->ns != nullptr) continue;
      ++names->try_emplace(Chars(c_node->name), Name{c_node, 0}).first->second.count;
    }
    m_Names = std::move(names);
  }
  const auto found = m_Names->find(name);
  return found != m_Names->end() ? found->second.c_first : nullptr;
}

KeyIndex* GroupIndex::GetKeyIndex(const std::string& key) {
  for (const auto& index : m_Keys)
    if (index->key == key) return index.get();
  if (m_Keys.size() == kMaxKeys) return nullptr;
  auto index = std::make_unique<KeyIndex>();
  index->key = key;
  for (xmlNode* c_node = NextMember(nullptr); c_node != nullptr; c_node = NextMember(c_node))
    AddKeys(*index, c_node);
  m_Keys.push_back(std::move(index));
  return m_Keys.back().get();
}

std::optional<std::vector<xmlNode*>> GroupIndex::WithKey(const std::string& name,
                                                         const std::string& key,
                                                         const std::string& value) {
  const KeyIndex* index = GetKeyIndex(key);
  if (index == nullptr) return std::nullopt;
  std::vector<xmlNode*> members;
  index->ForEach(value, [&](xmlNode* c_key) {
    if (MatchesStep(c_key->parent, name) && HasText(c_key, value)) members.push_back(c_key->parent);
  });
  PutInOrder(members);
  return members;
}

void GroupIndex::PutInOrder(std::vector<xmlNode*>& members) const {
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

void GroupIndex::AddKeys(KeyIndex& index, xmlNode* c_member) {
  for (xmlNode* c_child = c_member->children; c_child != nullptr; c_child = c_child->next)
    if (IsNamed(c_child, index.key)) index.Insert(c_child);
}

void GroupIndex::AddMember(xmlNode* c_member) {
  if (m_Names != nullptr && c_member->ns == nullptr) {
    Name& name = m_Names->try_emplace(Chars(c_member->name), Name{c_member, 0}).first->second;
    if (++name.count > 1 && MemberIsBefore(c_member, name.c_first)) name.c_first = c_member;
  }
  for (const auto& index : m_Keys) AddKeys(*index, c_member);
}

void GroupIndex::RemoveMember(xmlNode* c_member) {
  for (const auto& index : m_Keys)
    for (xmlNode* c_child = c_member->children; c_child != nullptr; c_child = c_child->next)
      if (IsNamed(c_child, index->key)) index->Erase(c_child);
  if (m_Names == nullptr || c_member->ns != nullptr) return;
  const auto found = m_Names->find(Chars(c_member->name));
  if (found == m_Names->end()) return;
  if (--found->second.count == 0) {
    m_Names->erase(found);
  } else if (found->second.c_first == c_member) {
    do {
      c_member = NextMember(c_member);
    } while (!IsNamed(c_member, found->first));
    found->second.c_first = c_member;
  }
}

void GroupIndex::Added(xmlNode* c_node) {
  if (IsMember(c_node)) {
    AddMember(c_node);
  } else if (IsGroup(c_node)) {
    for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
      if (IsElement(c_child)) AddMember(c_child);
  } else if (c_node->parent != nullptr && IsMember(c_node->parent)) {
    LearnKey(c_node);
  }
}

void GroupIndex::Removing(xmlNode* c_node) {
  if (IsMember(c_node)) {
    RemoveMember(c_node);
  } else if (IsGroup(c_node)) {
    for (xmlNode* c_child = c_node->children; c_child != nullptr; c_child = c_child->next)
      if (IsElement(c_child)) RemoveMember(c_child);
  } else if (c_node->parent != nullptr && IsMember(c_node->parent)) {
    ForgetKey(c_node);
  }
}

bool GroupIndex::ForgetKey(xmlNode* c_key) {
  if (!IsMember(c_key->parent)) return false;
  bool found = false;
  for (const auto& index : m_Keys) {
    if (!IsNamed(c_key, index->key)) continue;
    index->Erase(c_key);
    found = true;
  }
  return found;
}

void GroupIndex::LearnKey(xmlNode* c_key) {
  if (!IsMember(c_key->parent)) return;
  for (const auto& index : m_Keys)
    if (IsNamed(c_key, index->key)) index->Insert(c_key);
}

bool GroupIndex::IsRight() const {
  GroupIndex plain(m_c_document, m_Root, m_Group);
  plain.First({});
  bool isRight = m_Names == nullptr || *m_Names == *plain.m_Names;
  for (const auto& index : m_Keys) isRight = isRight && *index == *plain.GetKeyIndex(index->key);
  return isRight;
}

// --- All indexes of a document

KeyedIndexes::KeyedIndexes() noexcept = default;
KeyedIndexes::~KeyedIndexes() = default;

GroupIndex* KeyedIndexes::Get(xmlDoc* c_document, const std::string& root,
                              const std::string& group) {
  for (const auto& index : m_Groups)
    if (index->IsFor(root, group)) return index.get();
  if (m_Groups.size() == kMaxGroups) return nullptr;
  m_Groups.push_back(std::make_unique<GroupIndex>(c_document, root, group));
  return m_Groups.back().get();
}

std::optional<xmlNode*> KeyedIndexes::First(xmlDoc* c_document, const std::string& root,
                                            const std::string& group, const std::string& name) {
  GroupIndex* index = Get(c_document, root, group);
  return index != nullptr ? std::optional(index->First(name)) : std::nullopt;
}

std::optional<std::vector<xmlNode*>> KeyedIndexes::WithKey(
    xmlDoc* c_document, const std::string& root, const std::string& group, const std::string& name,
    const std::string& key, const std::string& value) {
  GroupIndex* index = Get(c_document, root, group);
  return index != nullptr ? index->WithKey(name, key, value) : std::nullopt;
}

void KeyedIndexes::Clear() noexcept { m_Groups.clear(); }

void KeyedIndexes::Removing(xmlNode* c_node) noexcept {
  if (c_node->parent == nullptr || m_Groups.empty() || !IsElement(c_node)) return;
  if (c_node->parent->type == XML_DOCUMENT_NODE) return Clear();
  try {
    for (const auto& index : m_Groups) index->Removing(c_node);
  } catch (...) {
    Clear();
  }
}

void KeyedIndexes::Added(xmlNode* c_node) noexcept {
  if (m_Groups.empty() || !IsElement(c_node)) return;
  if (c_node->parent->type == XML_DOCUMENT_NODE) return Clear();
  try {
    for (const auto& index : m_Groups) index->Added(c_node);
  } catch (...) {
    Clear();
  }
}

xmlNode* KeyedIndexes::ForgetKeyAbove(xmlNode* c_parent) noexcept {
  if (m_Groups.empty()) return nullptr;
  long depth = 0;
  const xmlNode* c_top = c_parent;
  for (; c_top->parent != nullptr; c_top = c_top->parent) ++depth;
  if (c_top->type != XML_DOCUMENT_NODE || depth < 4) return nullptr;
  for (; depth > 4; --depth) c_parent = c_parent->parent;
  try {
    bool found = false;
    for (const auto& index : m_Groups) found = index->ForgetKey(c_parent) || found;
    return found ? c_parent : nullptr;
  } catch (...) {
    Clear();
    return nullptr;
  }
}

void KeyedIndexes::LearnKey(xmlNode* c_key) noexcept {
  if (c_key == nullptr) return;
  try {
    for (const auto& index : m_Groups) index->LearnKey(c_key);
  } catch (...) {
    Clear();
  }
}

bool KeyedIndexes::IsRight() const {
  return std::all_of(m_Groups.begin(), m_Groups.end(),
                     [](const auto& index) { return index->IsRight(); });
}

}  // namespace cfgex::internal
