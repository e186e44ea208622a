// Objects and instances: how they are bound, their text, their identity.

#include <gtest/gtest.h>

#include "tests/support/sample.h"

namespace {

using namespace test;

class ObjectTest : public testing::Test {
 protected:
  std::wstring DocumentOf(const std::wstring& fields) {
    return Document(L"a", {Item(L"P", L"a", fields)});
  }
  Sample sample{{}};
};

TEST_F(ObjectTest, IsBoundByTheTextOfADocument) {
  CCfgInstance instance(sample.option);
  EXPECT_EQ(instance.GetRawInterface(), nullptr);
  EXPECT_TRUE(instance.GetCategory().empty());
  ASSERT_TRUE(instance.Initialize(DocumentOf(L"").c_str()));
  EXPECT_EQ(instance.GetCategory(), L"P");
  EXPECT_EQ(instance.GetInstanceId(), L"a");
  EXPECT_FALSE(instance.Initialize(static_cast<const wchar_t*>(nullptr)));
  EXPECT_EQ(instance.GetCategory(), L"P") << "a null text changes nothing";
}

TEST_F(ObjectTest, IsUnboundByATextThatIsRefused) {
  const std::wstring refused[] = {
      L"",
      L"<P",
      Configuration({Item(L"P", L"a")}),
      Document(L"other", {Item(L"P", L"a")}),
      Document(L"it's", {Item(L"P", L"it's")}),
      DocumentOf(L"<Level>0</Level>"),
      L"<!DOCTYPE Configuration [<!ENTITY e 'x'>]>" + DocumentOf(L"<Name>&e;</Name>"),
  };
  for (const std::wstring& text : refused) {
    CCfgInstance instance(DocumentOf(L"").c_str(), sample.option);
    ASSERT_NE(instance.GetRawInterface(), nullptr);
    EXPECT_FALSE(instance.Initialize(text.c_str())) << Narrow(text);
    EXPECT_EQ(instance.GetRawInterface(), nullptr) << Narrow(text);
    EXPECT_EQ(CCfgInstance(text.c_str(), sample.option).GetRawInterface(), nullptr);
    OS::x_wstring xml = L"kept";
    EXPECT_FALSE(instance.GetXml(xml));
    EXPECT_EQ(xml, L"kept");
    EXPECT_FALSE(instance.SaveToFile(sample.folder.Path(L"x.xml").c_str()));
  }
  CCfgOption none;
  EXPECT_FALSE(CCfgInstance(none).Initialize(DocumentOf(L"").c_str()));
}

TEST_F(ObjectTest, FindsItsInstanceInAnyCategory) {
  const CCfgInstance instance(Document(L"b", {Item(L"P", L"a"), Item(L"Q", L"b")}).c_str(),
                              sample.option);
  EXPECT_EQ(instance.GetCategory(), L"Q");
}

TEST_F(ObjectTest, IsBoundToAnElementWithoutACopy) {
  CCfgInstance instance(DocumentOf(L"<Name>n</Name>").c_str(), sample.option);
  CCfgObject view(sample.option);
  EXPECT_FALSE(view.Initialize(nullptr, false));
  ASSERT_TRUE(view.Initialize(instance.GetRawInterface(), true));
  EXPECT_TRUE(view.SetFieldValue(L"Name", L"changed"));
  OS::x_wstring name;
  EXPECT_TRUE(instance.GetFieldValue(L"Name", name));
  EXPECT_EQ(name, L"changed");
  EXPECT_FALSE(view.Initialize(sample.option.GetSchemaCache(), true)) << "no element";
  EXPECT_EQ(view.GetRawInterface(), nullptr);
}

TEST_F(ObjectTest, AFailedTextLeavesABoundElementInPlace) {
  const CCfgInstance instance(DocumentOf(L"").c_str(), sample.option);
  CCfgInstance view(sample.option);
  ASSERT_TRUE(view.Initialize(instance.GetRawInterface(), true));
  EXPECT_FALSE(view.Initialize(L"<bad"));
  EXPECT_EQ(view.GetRawInterface(), instance.GetRawInterface());
  EXPECT_FALSE(view.Initialize(Document(L"other", {Item(L"P", L"a")}).c_str()));
  EXPECT_EQ(view.GetRawInterface(), nullptr) << "an id was looked for";
}

TEST_F(ObjectTest, TheTextIsTheWholeDocumentPointedAtTheSchemaInUse) {
  const std::wstring located =
      L"<Configuration xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
      L" xsi:noNamespaceSchemaLocation=\"" +
      sample.schemaFile + L"\" instance_id=\"a\"";
  const std::wstring rest =
      L"><Category><P><InstanceId>a</InstanceId></P></Category></Configuration>";
  const std::pair<std::wstring, std::wstring> cases[] = {
      {L"<Configuration instance_id='a' major_version='9'" + rest, L" major_version=\"9\""},
      {L"<Configuration xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'"
       L" xsi:noNamespaceSchemaLocation='else.xsd' instance_id='a'" +
           rest,
       L""},
      {L"<Configuration xmlns:s='http://www.w3.org/2001/XMLSchema-instance'"
       L" s:noNamespaceSchemaLocation='else.xsd' instance_id='a'" +
           rest,
       L"s"},
  };
  for (const auto& [text, extra] : cases) {
    const CCfgInstance instance(text.c_str(), sample.option);
    OS::x_wstring xml;
    ASSERT_TRUE(instance.GetXml(xml)) << Narrow(text);
    EXPECT_NE(xml.str().find(L"xsi:noNamespaceSchemaLocation=\"" + sample.schemaFile + L"\""),
              std::wstring::npos)
        << Narrow(xml.str());
    EXPECT_EQ(xml.str().find(L"else.xsd"), std::wstring::npos);
    EXPECT_NE(CCfgInstance(xml, sample.option).GetRawInterface(), nullptr);
    if (extra.starts_with(L" ")) {
      EXPECT_NE(xml.str().find(extra), std::wstring::npos);
    }
  }
}

TEST_F(ObjectTest, AnIdIsWrittenInTheFieldAndInTheHeader) {
  CCfgInstance instance(DocumentOf(L"").c_str(), sample.option);
  EXPECT_FALSE(instance.SetInstanceId(nullptr));
  EXPECT_FALSE(instance.SetInstanceId(L"\x1"));
  EXPECT_EQ(instance.GetInstanceId(), L"a");
  ASSERT_TRUE(instance.SetInstanceId(L"new"));
  OS::x_wstring xml;
  ASSERT_TRUE(instance.GetXml(xml));
  EXPECT_EQ(CCfgInstance(xml, sample.option).GetInstanceId(), L"new");

  CCfgObject part(sample.option);
  CCfgInstance holder(DocumentOf(L"<Part/>").c_str(), sample.option);
  ASSERT_TRUE(holder.GetFieldValue(L"Part", part));
  CCfgInstance view(sample.option);
  ASSERT_TRUE(view.Initialize(part.GetRawInterface(), true));
  EXPECT_FALSE(view.SetInstanceId(L"x")) << "no such field";
  EXPECT_EQ(holder.GetInstanceId(), L"a");
}

TEST_F(ObjectTest, SavesItsDocumentToAFile) {
  const CCfgInstance instance(DocumentOf(L"<Name>n</Name>").c_str(), sample.option);
  const std::wstring file = sample.folder.Path(L"out.xml");
  EXPECT_FALSE(instance.SaveToFile(nullptr));
  EXPECT_FALSE(instance.SaveToFile(sample.folder.Path(L"none/out.xml").c_str()));
  ASSERT_TRUE(instance.SaveToFile(file.c_str()));
  EXPECT_EQ(Sample::Layout(Wide(ReadBytes(file))), "[P:a]");
}

}  // namespace
