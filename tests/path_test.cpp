// Paths. The short cuts are held against XPath itself, asked for the same with another spelling.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/support.h"

namespace cfgex::internal {
namespace {

using Node = ComPtr<IXMLDOMNode>;

ComPtr<IXMLDOMDocument2> Load(const std::wstring& text) {
  auto document = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
  EXPECT_TRUE(document->loadXML(text)) << test::Narrow(text);
  return document;
}

std::wstring All(const Node& node, std::wstring_view path) {
  const auto list = node->selectNodes(path);
  std::wstring all;
  for (long i = 0; i < list->get_length(); ++i) all += list->get_item(i)->get_xml() + L"|";
  return all;
}

constexpr MemberNames kNames{"R", "G", "K"};

// What a list holds is what XPath selects by the path, asked so that no short cut takes it.
void ExpectLikeXPath(const ComPtr<IXMLDOMNodeList>& fast, const Node& node,
                     const std::wstring& path) {
  const auto plain = node->selectNodes(path[0] == L'/' ? path : L"child::" + path);
  ASSERT_EQ(fast->get_length(), plain->get_length()) << test::Narrow(path);
  for (long i = 0; i < fast->get_length(); ++i)
    ASSERT_EQ(fast->get_item(i), plain->get_item(i)) << test::Narrow(path) << " item " << i;
}

// All that is found without XPath, for a name of members and a value of their keys.
void ExpectLikeXPath(const Node& root, const std::wstring& name, const std::wstring& value) {
  const auto document = root->get_ownerDocument();
  const std::wstring member = L"/R/G/" + name;
  const std::wstring keyed = member + L"[K='" + value + L"']";
  if (name != L"*") {
    ASSERT_EQ(document->FirstMember(kNames, name), root->selectSingleNode(member));
    for (const std::wstring& path : {name, L"G/" + name, L"G/" + name + L"/K"}) {
      ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(root->selectNodes(path), root, path));
      ASSERT_EQ(root->selectSingleNode(path), root->selectSingleNode(L"child::" + path));
    }
  }
  ASSERT_EQ(document->MemberWithKey(kNames, name, value), root->selectSingleNode(keyed));
  ASSERT_NO_FATAL_FAILURE(
      ExpectLikeXPath(document->KeysInMember(kNames, name, value), root, keyed + L"//K"));
}

TEST(Path, SelectsByXPath) {
  const auto document = Load(
      L"<R a='1'><G><A><K>1</K><B><K>2</K></B></A><A><K>3</K></A></G><G><A><K>4</K></A>t</G></R>");
  const Node root = document->get_documentElement();
  EXPECT_EQ(All(root, L"G/A/K"), L"<K>1</K>|<K>3</K>|<K>4</K>|");
  EXPECT_EQ(All(root, L"//B | G/A[2]/K"), L"<B><K>2</K></B>|<K>3</K>|");
  EXPECT_EQ(All(root, L"@a"), L"1|");
  EXPECT_EQ(All(root, L"//text()[.='t']"), L"t|");
  EXPECT_EQ(All(root, L"namespace::*"), L"");
  EXPECT_EQ(root->selectSingleNode(L"/"), Node(document));
  EXPECT_FALSE(root->selectSingleNode(L"Absent"));
  EXPECT_TRUE(As<IXMLDOMAttribute>(root->selectSingleNode(L"@a")));

  const Node cut = root->removeChild(root->selectSingleNode(L"G"));
  EXPECT_EQ(All(cut, L"/R/G/A/K"), L"<K>4</K>|");
  EXPECT_EQ(All(cut, L"A/K"), L"<K>1</K>|<K>3</K>|");
  EXPECT_EQ(All(cut, L"A/B/K/text()"), L"2|");
  for (const wchar_t* bad : {L"", L"[", L"A[", L"/R/G/A[K='1]", L"/R/G/A[K='it's']", L"count(A)",
                             L"'text'", L"p:A", L"/R/G/", L"A//", L"/R/G/A[K='\x01']"}) {
    EXPECT_THROW(root->selectSingleNode(bad), _com_error) << test::Narrow(bad);
    EXPECT_THROW(root->selectNodes(bad), _com_error) << test::Narrow(bad);
  }
  EXPECT_THROW(root->selectNodes(std::wstring_view(L"A\0B", 3)), _com_error);
}

// A document in random motion: members come, go, are replaced and renamed, keys change at all
// levels, groups and the root move.
class RandomDocument {
 public:
  explicit RandomDocument(unsigned seed) : m_Random(seed), m_Document(Load(L"<R/>")) {
    for (int i = 0; i < 3; ++i) Root()->appendChild(Make(L"G", 1));
  }

  Node Root() const { return m_Document->get_documentElement(); }
  std::wstring Value() { return Pick({L"", L"1", L"2", L"3", L"12", L" "}); }
  std::wstring Name() { return Pick({L"A", L"B", L"G", L"K", L"Item"}); }

  void Step() {
    const Node node = Any();
    const Node parent = node->get_parentNode();
    const bool isRoot = !As<IXMLDOMElement>(parent);
    switch (Below(8)) {
      case 0:
      case 1:
        node->appendChild(Make(Name(), 2));
        break;
      case 2:
        node->put_text(Value());
        break;
      case 3:
        if (!isRoot) Keep(parent->removeChild(node));
        break;
      case 4:
        if (!isRoot) Keep(parent->replaceChild(Make(Name(), 2), node));
        break;
      case 5:
        if (!m_Kept.empty() && !Contains(m_Kept.back(), node)) {
          node->appendChild(m_Kept.back());
          m_Kept.pop_back();
        }
        break;
      case 6: {
        const Node other = Any();
        if (!Contains(node, other)) other->appendChild(node);
        break;
      }
      default:
        if (Below(20) == 0) ReplaceRoot();
        break;
    }
    if (All(Root(), L"//*").size() > 20000) Root()->put_text(L"");
    if (Below(4) == 0) Root()->appendChild(Make(L"G", 1));
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(m_Random() % limit); }
  std::wstring Pick(std::vector<const wchar_t*> from) {
    return from[Below(static_cast<unsigned>(from.size()))];
  }

  Node Any() {
    const auto all = Root()->selectNodes(L"//*");
    return all->get_item(static_cast<long>(Below(static_cast<unsigned>(all->get_length()))));
  }
  static bool Contains(const Node& top, Node node) {
    for (; node; node = node->get_parentNode())
      if (node == top) return true;
    return false;
  }
  void Keep(const Node& node) {
    m_Kept.push_back(node);
    if (m_Kept.size() > 5) m_Kept.erase(m_Kept.begin());
  }
  void ReplaceRoot() {
    const Node old = Root();
    const Node empty = m_Document->createElement(L"R");
    m_Document->replaceChild(empty, old);
    m_Document->replaceChild(old, empty);
  }
  // A tree with keys, some of several pieces, some in a namespace, from this document or another.
  Node Make(const std::wstring& name, int level) {
    std::wstring text = L"<" + name + (Below(8) == 0 ? L" xmlns='u'>" : L">");
    for (unsigned i = Below(4); i > 0; --i)
      text += L"<K>" + Value() + L"<!--c--><i>" + Value() + L"</i></K>";
    for (unsigned i = Below(3); i > 0; --i) text += L"<K>" + Value() + L"</K>";
    for (unsigned i = Below(3); i > 0; --i) text += L"<K xmlns='u'>" + Value() + L"</K>";
    text += L"</" + name + L">";
    const Node made = Load(text)->get_documentElement();
    if (level < 4)
      for (unsigned i = Below(3); i > 0; --i) made->appendChild(Make(Name(), level + 1));
    return made;
  }

  std::mt19937 m_Random;
  ComPtr<IXMLDOMDocument2> m_Document;
  std::vector<Node> m_Kept;
};

TEST(Path, ShortCutsAnswerAsXPathDoesThroughEveryChange) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE(seed);
    RandomDocument random(seed);
    for (int step = 0; step < 80; ++step) {
      random.Step();
      SCOPED_TRACE(step);
      for (const std::wstring& name : {random.Name(), std::wstring(L"*")})
        ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(random.Root(), name, random.Value()));
    }
  }
}

TEST(Path, ManyElementsUnderOneKeyKeepTheirOrder) {
  std::wstring text = L"<R>";
  for (int i = 0; i < 200; ++i)
    text += std::wstring(L"<G><A") + (i % 2 ? L"/>" : L"><K>1</K></A>") +
            L"<B><K>1</K><K>1</K></B></G>";
  const auto document = Load(text + L"</R>");
  const Node root = document->get_documentElement();
  for (int i = 0; i < 290; ++i) {
    for (const wchar_t* name : {L"*", L"A", L"B"}) {
      if (i % 10 != 0 && i < 270) continue;
      ASSERT_NO_FATAL_FAILURE(ExpectLikeXPath(root, name, L"1"));
    }
    const Node first = document->MemberWithKey(kNames, L"*", L"1");
    first->get_parentNode()->removeChild(first);
  }
}

// Would not end in any bearable time if a lookup, a removal or an insertion cost in proportion to
// the document.
TEST(Path, AHundredThousandElementsAreFoundMovedAndRemoved) {
  constexpr int kCount = 100000;
  std::wstring text = L"<R><G>";
  for (int i = 0; i < kCount; ++i) {
    const std::wstring number = std::to_wstring(i);
    text += L"<A><K>" + number + L"</K></A>";
  }
  const auto document = Load(text + L"</G></R>");
  const Node root = document->get_documentElement();
  const Node group = root->get_childNodes()->get_item(0);
  for (int i = 0; i < kCount; ++i) {
    const Node found = document->MemberWithKey(kNames, L"A", std::to_wstring(i));
    ASSERT_EQ(document->FirstMember(kNames, L"A"), found);
    group->appendChild(found);
  }
  for (int i = 0; i < kCount; ++i) {
    const Node found = document->FirstMember(kNames, L"A");
    ASSERT_EQ(found->get_text(), std::to_wstring(i));
    group->removeChild(found);
  }
  EXPECT_FALSE(document->FirstMember(kNames, L"A"));
}

}  // namespace
}  // namespace cfgex::internal
