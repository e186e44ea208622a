// Reading and writing instances of a store.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/sample.h"

namespace {

using namespace test;

struct Reading {
  const char* what;
  std::vector<std::wstring> stored;
  const char* expected;  // the layout of the document about "a"
};

TEST(ReadTest, AnInstanceBringsAllItReaches) {
  const std::vector<Reading> readings = {
      {"no references", {Item(L"P", L"a") + Item(L"P", L"b")}, "[P:a]"},
      {"to itself", {Item(L"P", L"a", RefTo(L"P", L"a"))}, "[P:a]"},
      {"a cycle",
       {Item(L"P", L"b", RefTo(L"P", L"a")) + Item(L"P", L"a", RefTo(L"P", L"b"))},
       "[P:a][P:b]"},
      {"two to one target",
       {Item(L"P", L"a", RefTo(L"Q", L"b") + RefsTo({{L"Q", L"b"}})), Item(L"Q", L"b")},
       "[P:a][Q:b]"},
      {"categories ascend, ids as they are met",
       {Item(L"Q", L"a", RefsTo({{L"R", L"2"}, {L"P", L"3"}, {L"R", L"1"}})), Item(L"P", L"3"),
        Item(L"R", L"1") + Item(L"R", L"2")},
       "[Q:a][P:3][R:2 R:1]"},
      {"depth first",
       {Item(L"P", L"a", RefsTo({{L"Q", L"b"}, {L"Q", L"c"}})),
        Item(L"Q", L"c") + Item(L"Q", L"b", RefTo(L"Q", L"d")) + Item(L"Q", L"d")},
       "[P:a][Q:b Q:d Q:c]"},
      {"embedded objects refer too",
       {Item(L"P", L"a", L"<Part>" + PartRefTo(L"Q", L"b") + L"</Part>"), Item(L"Q", L"b")},
       "[P:a][Q:b]"},
      {"a derived type is a reference",
       {Item(L"P", L"a", L"<Link><Category>Q</Category><InstanceId>b</InstanceId></Link>"),
        Item(L"Q", L"b")},
       "[P:a][Q:b]"},
      {"dangling, empty, without category, and no reference type",
       {Item(L"P", L"a",
             RefTo(L"Q", L"") + L"<Link><InstanceId>b</InstanceId></Link>" +
                 RefsTo({{L"R", L"none"}}) +
                 L"<Parts><Item><InstanceId>b</InstanceId></Item></Parts>"),
        Item(L"Q", L"b")},
       "[P:a]"},
      {"one id under two categories",
       {Item(L"P", L"a", RefsTo({{L"Q", L"b"}, {L"R", L"b"}})), Item(L"Q", L"b"), Item(L"R", L"b")},
       "[P:a][Q:b][R:b]"},
      {"a category that is no name",
       {Item(L"P", L"a", RefsTo({{L"x y", L"b"}, {L"", L"b"}, {L"Q", L"b"}})), Item(L"Q", L"b")},
       "[P:a][Q:b]"},
  };
  for (const Reading& reading : readings) {
    Sample sample(reading.stored);
    const std::string before = ReadBytes(sample.configFile);
    EXPECT_EQ(Sample::Layout(sample.Get(L"a")), reading.expected) << reading.what;
    EXPECT_EQ(ReadBytes(sample.configFile), before);
  }
}

TEST(ReadTest, TheTextCarriesTheHeaderAndNothingThatWasNotThere) {
  Sample sample({Item(L"P", L"a", L"<Name> x </Name>")});
  EXPECT_EQ(sample.Get(L"a"),
            L"<Configuration xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
            L" xsi:noNamespaceSchemaLocation=\"" +
                sample.schemaFile +
                L"\" instance_id=\"a\" major_version=\"1\" minor_version=\"2\" revision=\"3\">"
                L"<Category><P><InstanceId>a</InstanceId><Name> x </Name></P></Category>"
                L"</Configuration>");
}

TEST(ReadTest, RefusesWhatIsNotThere) {
  Sample sample({Item(L"P", L"a") + Item(L"P", L"x y") + Item(L"P", L"&lt;") + Item(L"P", L"it's") +
                     Item(L"P", L"&quot;") + Item(L"P", L"' or '1'='1"),
                 Item(L"Q", L"a")});
  OS::x_wstring xml = L"kept";
  CCfgConfigurationEx& store = *sample.store;
  EXPECT_FALSE(store.GetConfiguration(nullptr, xml));
  EXPECT_FALSE(store.GetConfiguration(L"a", nullptr, xml));
  for (const wchar_t* id : {L"none", L"", L"<", L"it's", L"\"", L"' or '1'='1", L"A"})
    EXPECT_FALSE(store.GetConfiguration(id, xml)) << Narrow(id);
  for (const wchar_t* category : {L"R", L"p", L"", L"P|/Configuration/Category/Q", L"@*"})
    EXPECT_FALSE(store.GetConfiguration(L"a", category, xml)) << Narrow(category);
  EXPECT_EQ(xml, L"kept");
  EXPECT_TRUE(store.GetConfiguration(L"a", L"Q", xml));
  EXPECT_EQ(Sample::Layout(xml.str()), "[Q:a]");
  EXPECT_TRUE(store.GetConfiguration(L"a", xml));
  EXPECT_EQ(Sample::Layout(xml.str()), "[P:a]");
  EXPECT_TRUE(store.GetConfiguration(L"x y", xml));

  sample.option.Uninitialize();
  EXPECT_FALSE(store.GetConfiguration(L"a", xml));
  EXPECT_FALSE(CCfgConfigurationEx(sample.option).GetConfiguration(L"a", xml)) << "not loaded";
}

// To a parser "&#65;" is "A": the header would name another instance.
TEST(ReadTest, AnIdThatLooksLikeACharacterReferenceIsNotTakenForAnother) {
  const std::wstring items = Item(L"P", L"&amp;#65;", RefTo(L"P", L"A")) +
                             Item(L"P", L"A", L"<Name>another</Name>") + Item(L"P", L"t");
  Sample sample({items});
  OS::x_wstring xml = L"kept";
  EXPECT_FALSE(sample.store->GetConfiguration(L"&#65;", xml)) << Narrow(xml.str());
  EXPECT_EQ(xml, L"kept");
  EXPECT_FALSE(sample.store->CopyConfiguration(L"&#65;", L"t", false, nullptr, nullptr));
  EXPECT_FALSE(sample.store->CopyConfiguration(L"t", L"&#65;", true, nullptr, nullptr));
  EXPECT_EQ(sample.Layout(), "[P:&#65; P:A P:t]");
}

// A schema that demands a target for every reference makes the export of a dangling one invalid.
TEST(ReadTest, EmptiesTheTextWhenTheResultIsNotValid) {
  std::string schema = kSampleSchema;
  schema.insert(schema.find("</xs:element>\n  <xs:element name=\"Category\">"),
                "<xs:unique name='u'><xs:selector xpath='Category/*'/><xs:field "
                "xpath='InstanceId'/></xs:unique>"
                "<xs:keyref name='k' refer='u'><xs:selector xpath='Category/*/Link'/><xs:field "
                "xpath='InstanceId'/></xs:keyref>");
  const std::wstring link = L"<Link><InstanceId>b</InstanceId></Link>";
  Sample sample({Item(L"P", L"a", link) + Item(L"P", L"b")}, schema.c_str());
  OS::x_wstring xml = L"kept";
  EXPECT_FALSE(sample.store->GetConfiguration(L"a", xml)) << "Link has no Category to follow";
  EXPECT_TRUE(xml.empty());
}

struct Writing {
  const char* what;
  std::vector<std::wstring> stored;
  std::wstring document;
  const char* expected;  // the layout of the file
  const char* changed;   // the ids reported
};

TEST(WriteTest, ReplacesOrInsertsAnInstanceWithAllItReaches) {
  const std::vector<Writing> writings = {
      {"replaced in its place",
       {Item(L"P", L"a") + Item(L"P", L"b")},
       Document(L"a", {Item(L"P", L"a", L"<Name>n</Name>")}),
       "[P:a P:b]",
       "a"},
      {"what is not reached is dropped",
       {Item(L"P", L"a")},
       Document(L"a", {Item(L"P", L"a") + Item(L"P", L"x"), Item(L"Q", L"y")}),
       "[P:a]",
       "a"},
      {"what comes back stands at the end",
       {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b") + Item(L"Q", L"c")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")}),
       "[P:a][Q:c Q:b]",
       "a b"},
      {"an emptied group stays, the next stands beside it",
       {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")}),
       "[P:a][][Q:b]",
       "a b"},
      {"the order of the ids",
       {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b") + Item(L"Q", L"x")},
       Document(L"a", {Item(L"P", L"a", RefsTo({{L"P", L"c"}, {L"Q", L"b"}})) + Item(L"P", L"c"),
                       Item(L"Q", L"b")}),
       "[P:a P:c][Q:x Q:b]",
       "a b c"},
      {"what the old form reached leaves, whoever else refers to it",
       {Item(L"P", L"a", RefTo(L"Q", L"b")) + Item(L"P", L"o", RefTo(L"Q", L"b")),
        Item(L"Q", L"b", RefTo(L"R", L"c")), Item(L"R", L"c")},
       Document(L"a", {Item(L"P", L"a")}),
       "[P:a P:o][][]",
       "a b c"},
      {"a dangling reference is named",
       {Item(L"P", L"a")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"Q", L"none"))}),
       "[P:a][]",
       "a none"},
      {"another category: it takes the place, and its references are not followed",
       {Item(L"P", L"a") + Item(L"P", L"z")},
       Document(L"a", {Item(L"Q", L"a", RefTo(L"R", L"c")), Item(L"R", L"c")}),
       "[Q:a P:z]",
       "a"},
      {"inserted behind its category",
       {Item(L"P", L"b"), Item(L"Q", L"c")},
       Document(L"a", {Item(L"P", L"a")}),
       "[P:b P:a][Q:c]",
       "a"},
      {"inserted as the first of its category",
       {Item(L"P", L"b")},
       Document(L"a", {Item(L"R", L"a", RefTo(L"Q", L"c")), Item(L"Q", L"c")}),
       "[P:b][Q:c][R:a]",
       "a c"},
      {"inserted into the group that its target made",
       {},
       Document(L"a", {Item(L"P", L"a", RefTo(L"P", L"b")) + Item(L"P", L"b")}),
       "[P:b P:a]",
       "a b"},
      {"replaced on a cycle: once, in its place",
       {Item(L"P", L"a", RefTo(L"P", L"b")) + Item(L"P", L"b", RefTo(L"P", L"a")) +
        Item(L"P", L"c")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"P", L"b")) + Item(L"P", L"b", RefTo(L"P", L"a"))}),
       "[P:a P:c P:b]",
       "a b"},
      {"replaced by what refers to itself",
       {Item(L"P", L"a", RefTo(L"P", L"a")) + Item(L"P", L"c")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"P", L"a"))}),
       "[P:a P:c]",
       "a"},
      {"inserted on a cycle",
       {Item(L"P", L"c")},
       Document(L"a", {Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b", RefTo(L"P", L"a"))}),
       "[P:c P:a][Q:b]",
       "a b"},
      {"a category that is no name does not keep the others out",
       {Item(L"P", L"a")},
       Document(L"a", {Item(L"P", L"a", RefsTo({{L"", L"b"}, {L"Q", L"b"}})), Item(L"Q", L"b")}),
       "[P:a][Q:b]",
       "a b"},
  };
  for (const Writing& writing : writings) {
    Sample sample(writing.stored);
    Ids changed;
    EXPECT_TRUE(sample.store->SetConfiguration(writing.document.c_str(), &changed, nullptr))
        << writing.what;
    EXPECT_EQ(sample.Layout(), writing.expected) << writing.what;
    EXPECT_EQ(Join(changed), writing.changed) << writing.what;
    const std::string written = ReadBytes(sample.configFile);
    sample.Reopen();
    EXPECT_TRUE(sample.store->SetConfiguration(sample.Get(L"a").c_str(), nullptr, nullptr));
    EXPECT_FALSE(written.empty());
  }
}

TEST(WriteTest, AppendsToTheIdsAndIgnoresTheReserved) {
  Sample sample({Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")});
  Ids changed = {L"a", L"b", L"old"};
  Ids reserved = {L"r"};
  ASSERT_TRUE(sample.store->SetConfiguration(sample.Get(L"a").c_str(), &changed, &reserved));
  EXPECT_EQ(Join(changed), "a b old a");
  EXPECT_EQ(Join(reserved), "r");
}

TEST(WriteTest, ARefusalChangesNothing) {
  Sample sample({Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")});
  const std::string before = ReadBytes(sample.configFile);
  const std::wstring text = sample.Get(L"a");
  const std::wstring refused[] = {
      L"",
      L"<Configuration",
      L"<!DOCTYPE Configuration>" + Document(L"a", {Item(L"P", L"a")}),
      L"<Wrong instance_id='a'/>",
      Document(L"a", {Item(L"P", L"a", L"<Level>10</Level>")}),
      Document(L"a", {Item(L"P", L"b")}),
      Document(L"it's", {Item(L"P", L"it's")}),
      Configuration({Item(L"P", L"a")}),
  };
  for (const std::wstring& document : refused) {
    Ids changed;
    EXPECT_FALSE(sample.store->SetConfiguration(document.c_str(), &changed, nullptr))
        << Narrow(document);
    EXPECT_TRUE(changed.empty());
    EXPECT_EQ(sample.Get(L"a"), text);
  }
  EXPECT_FALSE(sample.store->SetConfiguration(nullptr, nullptr, nullptr));
  EXPECT_EQ(ReadBytes(sample.configFile), before);

  CCfgConfigurationEx closed(sample.option);
  EXPECT_FALSE(closed.SetConfiguration(text.c_str(), nullptr, nullptr)) << "not loaded";
  sample.option.Uninitialize();
  EXPECT_FALSE(sample.store->SetConfiguration(text.c_str(), nullptr, nullptr));
}

TEST(WriteTest, WhatAFailedSaveLeftIsWrittenByTheNext) {
  Sample sample({Item(L"P", L"a")});
  const std::string before = ReadBytes(sample.configFile);
  {
    const FailCall fail(FaultPoint::kRename, 1);
    EXPECT_TRUE(sample.store->SetConfiguration(Document(L"b", {Item(L"P", L"b")}).c_str(), nullptr,
                                               nullptr));
  }
  EXPECT_EQ(ReadBytes(sample.configFile), before);
  EXPECT_TRUE(
      sample.store->SetConfiguration(Document(L"c", {Item(L"P", L"c")}).c_str(), nullptr, nullptr));
  EXPECT_EQ(sample.Layout(), "[P:a P:b P:c]");
}

TEST(WriteTest, SavedFilesAreForPeopleAndStayTheSame) {
  Sample sample({});
  const std::wstring document = Document(
      L"a",
      {Item(L"P", L"a", L"<!-- why --><Name> \u00e9&lt;\U0001F600 </Name><Texts><Item/></Texts>")});
  ASSERT_TRUE(sample.store->SetConfiguration(document.c_str(), nullptr, nullptr));
  const std::string expected =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<Configuration>\n"
      "  <Category>\n"
      "    <P>\n"
      "      <InstanceId>a</InstanceId>\n"
      "      <!-- why -->\n"
      "      <Name> \xc3\xa9&lt;\xf0\x9f\x98\x80 </Name>\n"
      "      <Texts>\n"
      "        <Item/>\n"
      "      </Texts>\n"
      "    </P>\n"
      "  </Category>\n"
      "</Configuration>\n";
  EXPECT_EQ(ReadBytes(sample.configFile), expected);
  sample.Reopen();
  ASSERT_TRUE(sample.store->SetConfiguration(sample.Get(L"a").c_str(), nullptr, nullptr));
  EXPECT_EQ(ReadBytes(sample.configFile), expected);
}

// Any text that XML can carry comes back to the character, through set, store, restart and get.
TEST(WriteTest, TextsAndIdsComeBackToTheCharacter) {
  const wchar_t* const texts[] = {
      L"",           L" ",        L"  both ends  ", L"a\tb",         L"\n",
      L"a\r\nb\rc",  L"<&>]]>",   L"\"'",           L"\u0085\u2028", L"\U0001F600\U0010FFFD",
      L"&amp;&#10;", L"{GUID-1}", L"\u00a0x\u3000"};
  for (const wchar_t* text : texts) {
    Sample sample({Item(L"P", L"a", L"<Name/><Texts/>")});
    CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
    CCfgStringArray array;
    array.AddItem(text);
    ASSERT_TRUE(instance.SetFieldValue(L"Name", text));
    ASSERT_TRUE(instance.SetFieldValue(L"Texts", array));
    const bool idFits = std::wstring(text).find_first_of(L"'\"&<") == std::wstring::npos;
    const std::wstring id = idFits ? text : L"a";
    ASSERT_TRUE(instance.SetInstanceId(id.c_str()));
    OS::x_wstring xml;
    ASSERT_TRUE(instance.GetXml(xml));
    ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr)) << Narrow(text);
    sample.Reopen();
    const CCfgInstance read(sample.Get(id).c_str(), sample.option);
    OS::x_wstring name;
    EXPECT_TRUE(read.GetFieldValue(L"Name", name));
    EXPECT_EQ(name, text);
    EXPECT_TRUE(read.GetFieldValue(L"Texts", array));
    EXPECT_EQ(array.GetItem(0), text);
    EXPECT_EQ(read.GetInstanceId(), id.c_str());
  }
}

}  // namespace
