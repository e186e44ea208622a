// What is read and what is refused, and that neither says a word.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/dom.h"

namespace {

using namespace test;

std::string Nested(int depth) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += "<a>";
  for (int i = 0; i < depth; ++i) text += "</a>";
  return text;
}

std::string WithAttributes(const std::string& prefix, int count) {
  std::string text = "<a";
  for (int i = 0; i < count; ++i) text += " " + prefix + std::to_string(i) + "='u'";
  return text + "/>";
}

TEST(Parser, WhatIsNotWellFormedIsRefusedInSilence) {
  std::string bomb = "<!DOCTYPE a [<!ENTITY e0 'x'>";
  for (int i = 1; i < 40; ++i)
    bomb += "<!ENTITY e" + std::to_string(i) + " '&e" + std::to_string(i - 1) + ";&e" +
            std::to_string(i - 1) + ";'>";
  const std::string cases[] = {
      "",
      "   ",
      "text",
      "<a>",
      "<a></b>",
      "<a/><b/>",
      "<a b='1' b='2'/>",
      "<a>&unknown;</a>",
      "<a>&#0;</a>",
      "<x:a/>",
      "<a xmlns:p=''/>",
      "<a x:b=''/>",
      "<!DOCTYPE a><a/>",
      "<!DOCTYPE a SYSTEM 'http://localhost:1/x.dtd'><a/>",
      "<!DOCTYPE a [<!ENTITY x SYSTEM '/etc/passwd'>]><a>&x;</a>",
      bomb + "]><a>&e39;</a>",
      Nested(kMaxDepth + 1),
      Nested(100000),
      WithAttributes("b", kMaxElementAttributes + 1),
      WithAttributes("b", 200000),
      WithAttributes("xmlns:b", kMaxElementAttributes + 1),
      WithAttributes("xmlns:b", 200000),
      "<a>\xff\xfe</a>",
      "<a>\xed\xa0\x80</a>",
      std::string("<a>\0</a>", 8),
      std::string("<a/>\0", 5),
      std::string("<a/>\n\0<b>", 9),
      std::string("<?xml version='1.0' encoding='ISO-8859-1'?><a/>\0", 48),
      std::string("\xff\xfe<\0a\0/\0>\0\0\0", 12),
      "<a>\x01</a>",
      "<?xml version='1.0' encoding='no-such-encoding'?><a/>",
      "<?xml version='1.0' encoding='UTF-16'?><a/>",
      "<?xml version='1.0' encoding='UTF-8'?><a>\xe4</a>",
      std::string("\xff\xfe<\0a\0", 6),
      "<?xml version='1.0' encoding='Shift_JIS'?><a>\x81</a>",
      "<?xml version='1.0' encoding='Shift_JIS'?><a/>\x81",
      std::string("\xff\xfe<\0a\0/\0>\0\n", 11),
  };
  const Folder folder;
  const std::wstring file = folder.Path(L"a.xml");
  for (const std::string& text : cases) {
    SCOPED_TRACE(text.substr(0, 200));
    WriteBytes(file, text);
    const auto document = NewDocument();
    const Captured captured;
    EXPECT_FALSE(document->load(file));
    EXPECT_EQ(captured.Text(), "");
    EXPECT_FALSE(document->get_documentElement());
    EXPECT_TRUE(document->loadXML(L"<ok/>")) << "a refused load leaves the document usable";
    EXPECT_THROW(document->load(file), _com_error) << "a document is loaded once";
  }
  EXPECT_FALSE(NewDocument()->load(folder.Path(L"absent.xml")));
  EXPECT_THROW(NewDocument()->load(folder.Path(L"")), FileNotRead) << "a directory";
  EXPECT_FALSE(NewDocument()->loadXML(std::wstring_view(L"<a>\0</a>", 8)));
  EXPECT_FALSE(NewDocument()->loadXML(L"<a>\xd800</a>"));
  EXPECT_TRUE(NewDocument()->loadXML(Wide(Nested(kMaxDepth))));
  for (const char* prefix : {"b", "xmlns:b"})
    EXPECT_TRUE(NewDocument()->loadXML(Wide(WithAttributes(prefix, kMaxElementAttributes))));
}

// The engine keeps a list of catalogs that files name, and looks through it for each further one.
TEST(Parser, CatalogsThatFilesNameAreOfNoConsequence) {
  const std::wstring catalog = L"<?oasis-xml-catalog catalog=\"c\"?>";
  std::wstring text;
  for (int i = 0; i < 600'000; ++i) text += catalog;
  const auto document = NewDocument();
  ASSERT_TRUE(document->loadXML(text + L"<a/>"));
  EXPECT_EQ(document->get_xml(), text + L"<a/>");
}

TEST(Parser, EncodingsAreReadAsDeclaredInFilesAndIgnoredInTexts) {
  const Folder folder;
  const std::wstring file = folder.Path(L"a.xml");
  const std::string cases[] = {
      "<a>\xc3\xa4</a>",
      "\xef\xbb\xbf<a>\xc3\xa4</a>",
      "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xe4</a>",
      std::string("\xff\xfe<\0a\0>\0\xe4\0<\0/\0a\0>\0", 18),
  };
  for (const std::string& text : cases) {
    WriteBytes(file, text);
    const auto document = NewDocument();
    ASSERT_TRUE(document->load(file)) << text;
    EXPECT_EQ(document->get_text(), L"\u00e4") << text;
  }
  for (const wchar_t* encoding : {L"UTF-16", L"ISO-8859-1", L"nonsense"}) {
    const auto document = NewDocument();
    const std::wstring declaration = std::wstring(L"<?xml version='1.0' encoding='") + encoding;
    ASSERT_TRUE(document->loadXML(declaration + L"'?><a>\u00e4\U0001F600</a>")) << encoding;
    EXPECT_EQ(document->get_text(), L"\u00e4\U0001F600") << encoding;
  }
}

TEST(Parser, OnlyBlanksBetweenElementsAreDropped) {
  const struct {
    const wchar_t* text;
    const wchar_t* kept;
  } cases[] = {
      {L"<a>\n  <b> </b>\n  <c>\t\r\n</c>\n</a>", L"<a><b> </b><c>\t\n</c></a>"},
      {L"<a> x <b/> </a>", L"<a> x <b/> </a>"},
      {L"<a> <![CDATA[x]]> <b/></a>", L"<a> <![CDATA[x]]> <b/></a>"},
      {L"<a> <!--c--> </a>", L"<a> <!--c--> </a>"},
      {L"<a> <!--c--> <?p q?> <b/> </a>", L"<a><!--c--><?p q?><b/></a>"},
      {L"<a xml:space='preserve'> <b> <c/> </b> </a>",
       L"<a xml:space=\"preserve\"> <b> <c/> </b> </a>"},
      {L"<a xml:space='preserve'> <b xml:space='default'> <c/> </b> </a>",
       L"<a xml:space=\"preserve\"> <b xml:space=\"default\"><c/></b> </a>"},
  };
  for (const auto& c : cases) {
    const auto document = NewDocument();
    ASSERT_TRUE(document->loadXML(c.text)) << c.text;
    EXPECT_EQ(document->get_documentElement()->get_xml(), c.kept);
  }
}

TEST(Serializer, SavedTextIsIndentedAndReadsBackTheSame) {
  const wchar_t text[] =
      L"<?note a?><!--top--><a xmlns='u' xmlns:p='v&amp;#w' "
      L"p:q='&quot;&#9;&#10;&#13;&lt;&amp;>'><b>x</b>"
      L"<c> <d/> y<e><f/></e></c><p:g><h/><!--i--></p:g><j> &#13;\n\t</j><k></k>"
      L"<l><![CDATA[<&]]></l></a>";
  const char saved[] =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<?note a?>\n<!--top-->\n"
      "<a xmlns=\"u\" xmlns:p=\"v&amp;#w\" p:q=\"&quot;&#9;&#10;&#13;&lt;&amp;&gt;\">\n  <b>x</b>\n"
      "  <c> <d/> y<e><f/></e></c>\n  <p:g>\n    <h/>\n    <!--i-->\n  </p:g>\n"
      "  <j> &#13;\n\t</j>\n  <k/>\n  <l><![CDATA[<&]]></l>\n</a>\n";
  const Folder folder;
  const std::wstring file = folder.Path(L"a.xml");
  auto document = NewDocument();
  ASSERT_TRUE(document->loadXML(text));
  const std::wstring xml = document->get_xml();
  for (int i = 0; i < 3; ++i) {
    document->save(file);
    EXPECT_EQ(ReadBytes(file), saved);
    document = NewDocument();
    ASSERT_TRUE(document->load(file));
    EXPECT_EQ(document->get_xml(), xml);
  }
  EXPECT_THROW(NewDocument()->save(file), _com_error);
  EXPECT_EQ(ReadBytes(file), saved);
}

}  // namespace
