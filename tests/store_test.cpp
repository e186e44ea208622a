// Reading and writing instances of a store.

#include <gtest/gtest.h>

#include "tests/support/sample.h"

namespace {

using namespace test;

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
  const std::wstring reference = L"<Ref><InstanceId>b</InstanceId></Ref>";
  Sample sample({Item(L"P", L"a", reference) + Item(L"P", L"b")},
                SampleSchemaWith(kReferencesLeadSomewhere));
  OS::x_wstring xml = L"kept";
  EXPECT_FALSE(sample.store->GetConfiguration(L"a", xml)) << "no Category to follow";
  EXPECT_TRUE(xml.empty());
}

TEST(RefusalTest, ATextThatIsRefusedChangesNothingAndSaysNothing) {
  std::wstring nestedParts = L"<Label/>";
  for (int i = 0; i < 2000; ++i) nestedParts = L"<Part>" + nestedParts + L"</Part>";
  const std::wstring texts[] = {
      L"",
      L"<",
      L"<a>\xD800</a>",
      L"<!DOCTYPE Configuration>" + Alone(L"a"),
      L"<Wrong instance_id='a'/>",
      L"<Configuration instance_id='a'><Category><P/></Category></Configuration>",
      Alone(L"a", nestedParts),
      Alone(L"a", L"<Level>10</Level>"),
      Document(L"a", {Item(L"P", L"b")}),
      Alone(L"it's"),
      Configuration({Item(L"P", L"a")})};
  Sample sample({Item(L"P", L"a", RefTo(L"Q", L"b")), Item(L"Q", L"b")});
  const std::string before = ReadBytes(sample.configFile);
  const std::wstring text = sample.Get(L"a");
  const std::wstring file = sample.folder.Path(L"bad.xml");
  const Captured captured;
  Ids changed;
  for (const std::wstring& refused : texts) {
    SCOPED_TRACE(testing::PrintToString(refused.substr(0, 200)));
    CCfgInstance instance = sample.Read(L"a");
    EXPECT_FALSE(sample.Set(refused, &changed));
    EXPECT_FALSE(sample.store->RemoveConfiguration(refused.c_str(), &changed));
    EXPECT_FALSE(instance.Initialize(refused.c_str()));
    EXPECT_EQ(instance.GetRawInterface(), nullptr) << "bound to what it was";
    OS::x_wstring xml = L"kept";
    EXPECT_TRUE(!instance.GetXml(xml) && xml == L"kept");
    EXPECT_FALSE(instance.SaveToFile(file.c_str()));
    EXPECT_EQ(sample.Get(L"a"), text);
  }
  EXPECT_FALSE(sample.store->SetConfiguration(nullptr, &changed, nullptr));
  EXPECT_FALSE(sample.store->RemoveConfiguration(nullptr, &changed));
  EXPECT_FALSE(sample.store->RemoveConfiguration(Alone(L"unknown").c_str(), &changed));
  CCfgConfigurationEx closed(sample.option);
  EXPECT_FALSE(closed.SetConfiguration(text.c_str(), &changed, nullptr)) << "not loaded";
  EXPECT_FALSE(closed.RemoveConfiguration(L"", &changed));
  EXPECT_THROW(closed.RemoveConfiguration(text.c_str(), &changed), _com_error);
  sample.option.Uninitialize();
  EXPECT_FALSE(sample.Set(text, &changed));
  EXPECT_FALSE(sample.store->RemoveConfiguration(text.c_str(), &changed));
  EXPECT_FALSE(CCfgInstance(sample.option).Initialize(text.c_str()));
  EXPECT_TRUE(changed.empty());
  EXPECT_EQ(ReadBytes(sample.configFile), before);
  EXPECT_EQ(captured.Text(), "");
}

TEST(WriteTest, SavedFilesAreForPeopleAndStayTheSame) {
  Sample sample({});
  ASSERT_TRUE(sample.Set(
      Alone(L"a", L"<!-- why --><Name> \u00e9&lt;\U0001F600 </Name><Texts><Item/></Texts>")));
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
  ASSERT_TRUE(sample.Set(sample.Get(L"a")));
  EXPECT_EQ(ReadBytes(sample.configFile), expected);
}

}  // namespace
