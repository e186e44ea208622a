// The operations on nodes: text, attributes, namespaces, moving, and what they refuse.
#include "tests/support/dom.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>

namespace {

using namespace test;

TEST(Dom, TextsAndAttributesKeepEveryCharacterThroughFiles) {
  const Folder folder;
  const std::wstring file = folder.Path(L"a.xml");
  for (const std::wstring text :
       {L"", L" ", L"  both ends  ", L"\r", L"\r\n", L"\n", L"\ta\tb\t", L"\"'<&>]]>", L"&amp;",
        L"\u00e4\u20ac\ufffd\U0001F600\U0010FFFF", L"\u0085\u2028", L"\n  <b/>\n"}) {
    SCOPED_TRACE(Narrow(text));
    DocumentPtr document = Load(L"<R><T>old<b/></T></R>");
    document->selectSingleNode(L"R/T")->put_text(text);
    document->get_documentElement()->setAttribute(L"a", text);
    for (int round = 0; round < 3; ++round) {
      EXPECT_EQ(document->selectSingleNode(L"R/T")->get_text(), text);
      EXPECT_EQ(document->get_documentElement()->getAttribute(L"a"), text);
      document->save(file);
      document = NewDocument();
      ASSERT_TRUE(document->load(file));
    }
    EXPECT_TRUE(Load(document->get_xml()));
  }
  EXPECT_EQ(Load(L"<a>1<b>2<!--x--></b><![CDATA[3]]><?p 4?>5</a>")->get_text(), L"1235");
}

TEST(Dom, EveryKindOfNodeIsCopiedMovedAndWritten) {
  for (const std::wstring content :
       {L"<![CDATA[a]]>", L"<![CDATA[]]>", L"<![CDATA[]]]]><![CDATA[>]]&gt;]]>", L"<!--c-->",
        L"<!---->", L"<?p?>", L"<?p q?>", L"1<![CDATA[&<>]]><!--c-->2<?p q?>",
        L" <b/><![CDATA[ ]]><!----><c a='1'/>3"}) {
    SCOPED_TRACE(Narrow(content));
    const DocumentPtr document = Load(L"<R><T>" + content + L"</T></R>");
    const Node original = document->selectSingleNode(L"R/T");
    const std::wstring xml = document->get_xml();
    const std::wstring text = original->get_text();
    const DocumentPtr target = Load(L"<R/>");
    target->get_documentElement()->appendChild(original->cloneNode(true));
    EXPECT_EQ(target->get_xml(), xml) << "the copy";
    target->get_documentElement()->replaceChild(original, target->selectSingleNode(L"R/T"));
    EXPECT_EQ(target->get_xml(), xml) << "moved";
    const Node read = Load(xml)->selectSingleNode(L"R/T");
    EXPECT_EQ(read->get_text(), text);
    read->put_text(L"t");
    EXPECT_EQ(read->get_xml(), L"<T>t</T>");
  }
}

TEST(Dom, WhatXmlCannotCarryIsRefusedAndChangesNothing) {
  const DocumentPtr document = Load(L"<R a='1'><T>old<b/></T></R>");
  const std::wstring before = document->get_xml();
  const ElementPtr root = document->get_documentElement();
  const Node text = root->selectSingleNode(L"T");
  for (const std::wstring& bad :
       {std::wstring(1, L'\0'), std::wstring(L"\x01"), std::wstring(L"\x1f"),
        std::wstring(1, wchar_t(0xD800)), std::wstring(1, wchar_t(0xFFFE)),
        std::wstring(1, wchar_t(0x110000))}) {
    EXPECT_THROW(text->put_text(bad), _com_error);
    EXPECT_THROW(root->setAttribute(L"a", bad), _com_error);
    EXPECT_THROW(root->setAttribute(L"xmlns:a", bad), _com_error);
  }
  for (const wchar_t* name :
       {L"", L"1", L"a b", L":a", L"a:", L"a:b:c", L"none:a", L"xmlns:xml", L"xmlns:xmlns", L"<"})
    EXPECT_THROW(root->setAttribute(name, L"v"), _com_error) << Narrow(name);
  EXPECT_THROW(root->setAttribute(L"xmlns:p", L""), _com_error);
  for (const wchar_t* name : {L"", L"1", L"a:b", L"a b", L"<"})
    EXPECT_THROW(document->createElement(name), _com_error) << Narrow(name);
  EXPECT_EQ(document->get_xml(), before);
}

TEST(Dom, MovesThatWouldBreakTheTreeAreRefused) {
  const DocumentPtr document = Load(L"<R a='1'><A><B/></A><C/></R>");
  const std::wstring before = document->get_xml();
  const ElementPtr root = document->get_documentElement();
  const Node a = root->selectSingleNode(L"A");
  const Node b = a->selectSingleNode(L"B");
  const Node c = root->selectSingleNode(L"C");
  const Node attribute = root->selectSingleNode(L"@a");
  const std::pair<Node, Node> appended[] = {{b, a},
                                            {b, b},
                                            {root, nullptr},
                                            {root, document},
                                            {root, attribute},
                                            {document, document->createElement(L"S")},
                                            {document, a}};
  for (const auto& [parent, node] : appended) EXPECT_THROW(parent->appendChild(node), _com_error);
  EXPECT_THROW(a->replaceChild(root, b), _com_error);
  EXPECT_THROW(root->replaceChild(c, b), _com_error);
  EXPECT_THROW(root->replaceChild(nullptr, a), _com_error);
  EXPECT_THROW(root->replaceChild(c, nullptr), _com_error);
  for (const Node& none : {b, Node(), attribute}) EXPECT_THROW(root->removeChild(none), _com_error);
  EXPECT_THROW(document->put_text(L"x"), _com_error);
  EXPECT_EQ(root->replaceChild(a, a), a);
  document->appendChild(root);
  EXPECT_EQ(document->get_xml(), before);

  const FailCall fail(FaultPoint::kAppendChild, 1);
  EXPECT_THROW(a->appendChild(c), _com_error);
  EXPECT_EQ(document->get_xml(), before);
}

TEST(Dom, NoTreeGrowsDeeperThanCanBeLoaded) {
  const DocumentPtr document = Load(L"<a/>");
  Node node = document->get_documentElement();
  for (int depth = 2; depth <= kMaxDepth; ++depth)
    node = node->appendChild(document->createElement(L"a"));
  EXPECT_THROW(node->appendChild(document->createElement(L"a")), _com_error);
  EXPECT_TRUE(Load(document->get_xml()));
  const Node copy = document->get_documentElement()->cloneNode(true);
  EXPECT_EQ(copy->get_xml(), document->get_xml());
  EXPECT_THROW(Load(L"<b/>")->get_documentElement()->appendChild(copy), _com_error);
}

TEST(Dom, AnElementThatWasCutOutStaysUsable) {
  const DocumentPtr document = Load(L"<R><G><A>x</A></G><H/></R>");
  const Node g = document->selectSingleNode(L"R/G");
  const Node a = g->selectSingleNode(L"A");
  EXPECT_EQ(document->get_documentElement()->removeChild(g), g);
  EXPECT_FALSE(g->get_parentNode());
  EXPECT_EQ(a->get_parentNode(), g);
  EXPECT_EQ(a->get_ownerDocument(), document);
  EXPECT_FALSE(document->get_ownerDocument());
  EXPECT_EQ(a->selectSingleNode(L"/R/H"), document->selectSingleNode(L"R/H"));
  EXPECT_FALSE(a->selectSingleNode(L"/R/G"));
  a->put_text(L"y");
  EXPECT_EQ(g->get_xml(), L"<G><A>y</A></G>");
  EXPECT_EQ(document->get_xml(), L"<R><H/></R>");
  EXPECT_EQ(As<IXMLDOMElement>(g)->get_tagName(), L"G");
  EXPECT_FALSE(As<IXMLDOMDocument2>(g));
  EXPECT_FALSE(As<IXMLDOMElement>(Node(document)));
}

TEST(Dom, AttributesGoByTheirNameAsWritten) {
  const DocumentPtr document =
      Load(L"<R xmlns:i='http://www.w3.org/2001/XMLSchema-instance' i:nil='1' b=''><A/></R>");
  const ElementPtr root = document->get_documentElement();
  EXPECT_EQ(root->getAttribute(L"i:nil"), L"1");
  EXPECT_EQ(root->getAttribute(L"b"), L"");
  EXPECT_EQ(root->getAttribute(L"nil"), std::nullopt);
  EXPECT_EQ(root->getAttribute(L"xsi:nil"), std::nullopt);
  EXPECT_EQ(root->getAttribute(L"xmlns"), std::nullopt);
  EXPECT_EQ(root->getAttribute(L"xmlns:i"), L"http://www.w3.org/2001/XMLSchema-instance");
  EXPECT_THROW(AttributeText(root->getAttribute(L"c")), _com_error);

  // Another prefix for the same namespace: one attribute all the same.
  root->setAttribute(L"xmlns:xsi", L"http://www.w3.org/2001/XMLSchema-instance");
  root->setAttribute(L"xsi:nil", L"0");
  root->setAttribute(L"xml:space", L"default");
  EXPECT_EQ(root->getAttribute(L"xsi:nil"), L"0");
  EXPECT_EQ(root->getAttribute(L"i:nil"), std::nullopt);
  const Node made = document->createNode(DomNodeType::kAttribute, L"n:nil",
                                         L"http://www.w3.org/2001/XMLSchema-instance");
  made->put_text(L"2");
  root->setAttributeNode(As<IXMLDOMAttribute>(made));
  EXPECT_EQ(root->getAttribute(L"n:nil"), L"2");
  EXPECT_THROW(As<IXMLDOMElement>(root->selectSingleNode(L"A"))
                   ->setAttributeNode(As<IXMLDOMAttribute>(root->selectSingleNode(L"@b"))),
               _com_error);
  EXPECT_THROW(root->setAttributeNode(nullptr), _com_error);
  EXPECT_THROW(root->setAttribute(L"xmlns:n", L"http://other"), _com_error) << "in use";
  EXPECT_THROW(root->setAttribute(L"xmlns", L"http://other"), _com_error) << "would move elements";
  root->selectSingleNode(L"A")->put_text(L"xsi:a q:a");
  EXPECT_THROW(root->setAttribute(L"xmlns:xsi", L"http://other"), _com_error) << "used in a value";
  root->setAttribute(L"xmlns:q", L"http://other");
  root->setAttribute(L"xmlns:i", L"http://other");
  const DocumentPtr read = Load(document->get_xml());
  EXPECT_EQ(read->get_xml(), document->get_xml());
  EXPECT_EQ(read->get_documentElement()->getAttribute(L"xmlns:i"), L"http://other");

  // A prefix that means something else here gives way.
  const DocumentPtr taken = Load(L"<R xmlns:n='http://taken' n:a=''/>");
  taken->get_documentElement()->setAttributeNode(As<IXMLDOMAttribute>(
      NewDocument()->createNode(DomNodeType::kAttribute, L"n:b", L"http://new")));
  EXPECT_EQ(taken->get_xml(),
            L"<R xmlns:n=\"http://taken\" xmlns:ns1=\"http://new\" n:a=\"\" ns1:b=\"\"/>");
  for (const auto& [name, uri] :
       {std::pair{L"a", L"u"}, {L"p:a", L""}, {L"xmlns:p", L"u"}, {L"xml:a", L"u"}, {L"p:", L"u"}})
    EXPECT_THROW(document->createNode(DomNodeType::kAttribute, name, uri), _com_error);
  EXPECT_THROW(document->createNode(DomNodeType::kElement, L"p:a", L"u"), _com_error);
}

// The cases are in data/dom/namespaces.txt, which tells their form.
TEST(Dom, NamespacesTravelWithWhatUsesThem) {
  std::istringstream file(ReadBytes(Wide(CFGEX_TEST_DATA "/dom/namespaces.txt")));
  std::map<std::string, std::wstring> c;
  int cases = 0;
  for (std::string line; std::getline(file, line);) {
    const std::size_t blank = line.find(' ');
    c[line.substr(0, blank)] = Wide(line.substr(blank + 1));
    if (!line.starts_with("-> ")) continue;
    ++cases;
    SCOPED_TRACE(Narrow(c["source"]));
    const DocumentPtr target = Load(c["target"]);
    {
      const DocumentPtr source = Load(c["source"]);
      const Node t = source->selectSingleNode(L"//*[local-name()='T']");
      const std::wstring before = source->get_xml();
      const Node root = source->get_documentElement();
      for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(Load(t->cloneNode(true)->get_xml()));
        EXPECT_EQ(root->removeChild(t)->get_xml(), c["=>"]);
        root->appendChild(t);
        EXPECT_EQ(Load(source->get_xml())->get_xml(), source->get_xml());
        EXPECT_EQ(source->get_xml(), before) << "declarations pile up";
        target->get_documentElement()->appendChild(t);
        EXPECT_EQ(target->get_xml(), c["->"]);
        root->appendChild(t);
      }
      target->get_documentElement()->appendChild(t->cloneNode(true));
    }
    EXPECT_EQ(target->get_xml(), c["->"]);
    EXPECT_EQ(Load(target->get_xml())->get_xml(), c["->"]);
  }
  EXPECT_EQ(cases, 10);
}

TEST(Dom, NodesAreSelectedByXPath) {
  const auto document = Load(
      L"<R a='1'><G><A><K>1</K><B><K>2</K></B></A><A><K>3</K></A></G><G><A><K>4</K></A>t</G></R>");
  const Node root = document->get_documentElement();
  const auto all = [](const Node& node, const wchar_t* path) {
    std::wstring texts;
    for (const Node& found : Select(node, path)) texts += found->get_xml() + L"|";
    return texts;
  };
  EXPECT_EQ(all(root, L"G/A/K"), L"<K>1</K>|<K>3</K>|<K>4</K>|");
  EXPECT_EQ(all(root, L"//B | G/A[2]/K"), L"<B><K>2</K></B>|<K>3</K>|");
  EXPECT_EQ(all(root, L"@a"), L"1|");
  EXPECT_EQ(all(root, L"//text()[.='t']"), L"t|");
  EXPECT_EQ(all(root, L"namespace::*"), L"");
  EXPECT_EQ(root->selectSingleNode(L"/"), Node(document));
  EXPECT_FALSE(root->selectSingleNode(L"Absent"));
  EXPECT_TRUE(As<IXMLDOMAttribute>(root->selectSingleNode(L"@a")));

  const Node cut = root->removeChild(root->selectSingleNode(L"G"));
  EXPECT_EQ(all(cut, L"/R/G/A/K"), L"<K>4</K>|");
  EXPECT_EQ(all(cut, L"A/K"), L"<K>1</K>|<K>3</K>|");
  EXPECT_EQ(all(cut, L"A/B/K/text()"), L"2|");
  for (const wchar_t* bad : {L"", L"[", L"A[", L"/R/G/A[K='1]", L"/R/G/A[K='it's']", L"count(A)",
                             L"'text'", L"p:A", L"/R/G/", L"A//", L"/R/G/A[K='\x01']"}) {
    EXPECT_THROW(root->selectSingleNode(bad), _com_error) << Narrow(bad);
    EXPECT_THROW(root->selectNodes(bad), _com_error) << Narrow(bad);
  }
  EXPECT_THROW(root->selectNodes(std::wstring_view(L"A\0B", 3)), _com_error);
}

}  // namespace
