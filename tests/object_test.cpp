// Objects and instances: how they are bound, their text, their identity.

#include <gtest/gtest.h>

#include "tests/support/sample.h"

namespace {

using namespace test;

struct ObjectTest : testing::Test {
  Sample sample{{}};
};

TEST_F(ObjectTest, IsBoundByTheTextOfADocument) {
  CCfgInstance instance(sample.option);
  EXPECT_TRUE(instance.GetRawInterface() == nullptr && instance.GetCategory().empty());
  ASSERT_TRUE(instance.Initialize(Alone(L"a").c_str()));
  EXPECT_FALSE(instance.Initialize(static_cast<const wchar_t*>(nullptr)));
  EXPECT_EQ(instance.GetCategory(), L"P") << "a null text changes nothing";
}

TEST_F(ObjectTest, IsBoundToAnElementWithoutACopy) {
  CCfgInstance instance(Alone(L"a", L"<Name>n</Name>").c_str(), sample.option);
  CCfgObject view(sample.option);
  EXPECT_FALSE(view.Initialize(nullptr, false));
  ASSERT_TRUE(view.Initialize(instance.GetRawInterface(), true));
  EXPECT_TRUE(view.SetFieldValue(L"Name", L"changed"));
  EXPECT_EQ(TextOf(instance, L"Name"), "changed");
  EXPECT_FALSE(view.Initialize(sample.option.GetSchemaCache(), true)) << "no element";
  EXPECT_EQ(view.GetRawInterface(), nullptr);
}

TEST_F(ObjectTest, AFailedTextLeavesABoundElementInPlace) {
  const CCfgInstance instance(Alone(L"a").c_str(), sample.option);
  CCfgInstance view(sample.option);
  ASSERT_TRUE(view.Initialize(instance.GetRawInterface(), true));
  EXPECT_FALSE(view.Initialize(L"<bad"));
  EXPECT_EQ(view.GetRawInterface(), instance.GetRawInterface());
  EXPECT_FALSE(view.Initialize(Document(L"other", {Item(L"P", L"a")}).c_str()));
  EXPECT_EQ(view.GetRawInterface(), nullptr) << "an id was looked for";
}

TEST_F(ObjectTest, TheTextIsTheWholeDocumentPointedAtTheSchemaInUse) {
  const std::wstring rest =
      L"><Category><P><InstanceId>a</InstanceId></P></Category></Configuration>";
  const std::wstring xsi = L"http://www.w3.org/2001/XMLSchema-instance";
  for (const std::wstring& attributes :
       {std::wstring(L" major_version=\"9\""),
        L" xmlns:xsi='" + xsi + L"' xsi:noNamespaceSchemaLocation='else.xsd'",
        L" xmlns:s='" + xsi + L"' s:noNamespaceSchemaLocation='else.xsd'"}) {
    const CCfgInstance instance((L"<Configuration instance_id='a'" + attributes + rest).c_str(),
                                sample.option);
    const std::wstring xml = XmlOf(instance);
    EXPECT_NE(xml.find(L"xsi:noNamespaceSchemaLocation=\"" + sample.schemaFile + L"\""), xml.npos)
        << Narrow(xml);
    EXPECT_EQ(xml.find(L"else.xsd"), xml.npos);
    EXPECT_NE(CCfgInstance(xml.c_str(), sample.option).GetRawInterface(), nullptr);
    EXPECT_TRUE(xml.find(attributes) != xml.npos || attributes.find(L"major") == xml.npos);
  }
}

TEST_F(ObjectTest, AnIdIsWrittenInTheFieldAndInTheHeader) {
  CCfgInstance instance(Alone(L"a").c_str(), sample.option);
  EXPECT_FALSE(instance.SetInstanceId(nullptr));
  EXPECT_FALSE(instance.SetInstanceId(L"\x1"));
  EXPECT_EQ(instance.GetInstanceId(), L"a");
  ASSERT_TRUE(instance.SetInstanceId(L"new"));
  EXPECT_EQ(CCfgInstance(XmlOf(instance).c_str(), sample.option).GetInstanceId(), L"new");

  CCfgObject part(sample.option);
  const CCfgInstance holder(Alone(L"a", L"<Part/>").c_str(), sample.option);
  ASSERT_TRUE(holder.GetFieldValue(L"Part", part));
  ASSERT_TRUE(instance.Initialize(part.GetRawInterface(), true));
  EXPECT_FALSE(instance.SetInstanceId(L"x")) << "no such field";
  EXPECT_EQ(holder.GetInstanceId(), L"a");
}

TEST_F(ObjectTest, SavesItsDocumentToAFile) {
  const CCfgInstance instance(Alone(L"a", L"<Name>n</Name>").c_str(), sample.option);
  const std::wstring file = sample.folder.Path(L"out.xml");
  EXPECT_FALSE(instance.SaveToFile(nullptr));
  EXPECT_FALSE(instance.SaveToFile(sample.folder.Path(L"none/out.xml").c_str()));
  ASSERT_TRUE(instance.SaveToFile(file.c_str()));
  EXPECT_EQ(Sample::Layout(Wide(ReadBytes(file))), "[P:a]");
}

}  // namespace
