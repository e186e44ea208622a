// Who keeps what alive: every case ends with the counts where they began, and means most under the
// address sanitizer.
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>

#include "tests/support/dom.h"

namespace {

using namespace test;

class DomLifetime : public testing::Test {
 protected:
  void TearDown() override { EXPECT_EQ(LiveNodes(), m_Before); }

  const long m_Before = LiveNodes();
};

constexpr MemberNames kNames{"R", "G", "K"};
constexpr wchar_t kText[] =
    L"<R xmlns:x='http://x'><G><A x:nil='1' id='7'><K>short</K><L>a text too long to be kept inside"
    L" its node</L><!--c--><?p q?><![CDATA[d]]></A><B/></G></R>";
constexpr wchar_t kDetached[] =
    L"<A xmlns:x=\"http://x\" x:nil=\"1\" id=\"7\"><K>short</K><L>a text too long to be kept inside"
    L" its node</L><!--c--><?p q?><![CDATA[d]]></A>";

// What a holder can hold: first what keeps its text whatever happens to A.
constexpr const wchar_t* kHeld[] = {
    L"/R/G/A/K", L"/R/G/A/L/text()", L"/R/G/A/@id", L"/R/G/A/@*", L"/R/G/A/comment()",
    L"/R/G/B",   L"/R/G/A",          L"/R/G",       L"/R"};
constexpr std::size_t kKeepText = 5;

// What can happen to the element A in the group G.
struct Event {
  const char* name;
  void (*run)(const DocumentPtr& document, const Node& g, const Node& a);
};
const Event kEvents[] = {
    {"nothing", [](auto&, auto&, auto&) {}},
    {"removed", [](auto&, auto& g, auto& a) { g->removeChild(a); }},
    {"its group removed, then it from that",
     [](auto& document, auto& g, auto& a) {
       document->get_documentElement()->removeChild(g);
       g->removeChild(a);
     }},
    {"overwritten by text",
     [](auto& document, auto&, auto&) { document->get_documentElement()->put_text(L"t"); }},
    {"replaced by what was in it",
     [](auto&, auto& g, auto& a) { g->replaceChild(a->selectSingleNode(L"K"), a); }},
    {"moved to a document that ends",
     [](auto&, auto&, auto& a) { Load(L"<O/>")->get_documentElement()->appendChild(a); }},
    {"moved into a removed sibling",
     [](auto&, auto& g, auto& a) {
       const Node b = g->selectSingleNode(L"B");
       g->removeChild(b);
       b->appendChild(a);
     }},
    {"removed and put back", [](auto&, auto& g, auto& a) { g->appendChild(g->removeChild(a)); }},
    {"its attribute in a namespace set by another prefix",
     [](auto& document, auto&, auto& a) {
       const Node made = document->createNode(DomNodeType::kAttribute, L"y:nil", L"http://x");
       made->put_text(L"1");
       As<IXMLDOMElement>(a)->setAttributeNode(As<IXMLDOMAttribute>(made));
     }},
    {"the root replaced",
     [](auto& document, auto&, auto&) {
       document->replaceChild(document->createElement(L"N"), document->get_documentElement());
     }},
};

TEST_F(DomLifetime, EveryHolderSurvivesEveryEventInEveryOrderOfRelease) {
  for (const auto& [name, event] : kEvents) {
    for (std::size_t first = 0; first < std::size(kHeld); ++first) {
      for (std::size_t second = 0; second < std::size(kHeld); ++second) {
        for (const bool documentDies : {false, true}) {
          SCOPED_TRACE(name);
          SCOPED_TRACE(Narrow(kHeld[first]) + ", then " + Narrow(kHeld[second]));
          DocumentPtr document = Load(kText);
          Node held[] = {document->selectSingleNode(kHeld[first]),
                         document->selectSingleNode(kHeld[second])};
          const std::wstring texts[] = {held[0]->get_text(), held[1]->get_text()};
          event(document, document->selectSingleNode(L"/R/G"),
                document->selectSingleNode(L"/R/G/A"));
          if (documentDies) document = nullptr;
          for (const std::size_t i : {0U, 1U}) {
            if ((i == 0 ? first : second) < kKeepText) {
              EXPECT_EQ(held[i]->get_text(), texts[i]);
            }
            EXPECT_FALSE(held[i]->get_xml().empty());
            ASSERT_TRUE(held[i]->get_ownerDocument());
            held[i]->get_ownerDocument()->KeysInMember(kNames, L"*", L"short");
            held[i] = nullptr;
          }
        }
      }
    }
  }
}

TEST_F(DomLifetime, AMovedTreeOutlivesTheDocumentThatItCameFrom) {
  const DocumentPtr target = Load(L"<R><G/></R>");
  const Node group = target->selectSingleNode(L"R/G");
  Node attribute;
  {
    const DocumentPtr source = Load(kText);
    attribute = source->selectSingleNode(L"/R/G/A/@id");
    group->appendChild(source->selectSingleNode(L"/R/G/A"));
  }
  EXPECT_EQ(group->get_xml(), std::wstring(L"<G>") + kDetached + L"</G>");
  EXPECT_EQ(attribute->get_ownerDocument(), target);
  EXPECT_EQ(attribute->get_text(), L"7");
  // And with names and texts that the target's parser knows, too.
  { group->appendChild(Load(L"<R><G>  <K>R</K><K>G</K></G></R>")->selectSingleNode(L"R/G")); }
  EXPECT_EQ(group->selectSingleNode(L"G")->get_xml(), L"<G><K>R</K><K>G</K></G>");
}

TEST_F(DomLifetime, NodesMadeBeforeLoadingFitIntoWhatIsLoaded) {
  const DocumentPtr document = NewDocument();
  const Node early = document->createElement(L"Early");
  ASSERT_TRUE(document->loadXML(L"<R/>"));
  EXPECT_TRUE(early->selectSingleNode(L"/R"));
  document->get_documentElement()->appendChild(early);
  EXPECT_EQ(document->get_xml(), L"<R><Early/></R>");
}

TEST_F(DomLifetime, WhatIsReplacedOrRemovedIsGivenBack) {
  const DocumentPtr document = Load(L"<R><G><A><K>0</K></A></G></R>");
  const Node group = document->selectSingleNode(L"R/G");
  std::size_t before = 0;
  for (int i = 0; i < 100000; ++i) {
    const Node old = document->MemberWithKey(kNames, L"A", std::to_wstring(i));
    ASSERT_TRUE(old) << i;
    const Node copy = old->cloneNode(true);
    copy->selectSingleNode(L"K")->put_text(std::to_wstring(i + 1));
    const Node extra = document->createElement(L"Extra" + std::to_wstring(i % 7));
    copy->appendChild(extra);
    group->replaceChild(copy, old);
    copy->removeChild(extra);
    if (i == 10000) before = mallinfo2().uordblks;
  }
  EXPECT_LE(mallinfo2().uordblks, before + 20000);
}

TEST_F(DomLifetime, AListFollowsTheChildrenAndHoldsTheirParent) {
  DocumentPtr document = Load(L"<R><A/><B/><C/></R>");
  const auto list = document->get_documentElement()->get_childNodes();
  const Node root = document->get_documentElement();
  EXPECT_EQ(list->get_length(), 3);
  EXPECT_EQ(list->get_item(1)->get_xml(), L"<B/>");
  root->removeChild(list->get_item(1));
  EXPECT_EQ(list->get_length(), 2);
  EXPECT_EQ(list->get_item(1)->get_xml(), L"<C/>");
  EXPECT_EQ(list->get_item(0)->get_xml(), L"<A/>");
  EXPECT_FALSE(list->get_item(2));
  EXPECT_FALSE(list->get_item(-1));
  const DocumentPtr other = Load(L"<O/>");
  other->get_documentElement()->appendChild(root);
  root->appendChild(document->createElement(L"D"));
  document = nullptr;
  EXPECT_EQ(list->get_item(2)->get_xml(), L"<D/>");
  EXPECT_EQ(list->get_length(), 3);
  EXPECT_EQ(list->get_item(1), root->selectSingleNode(L"C"));
}

}  // namespace
