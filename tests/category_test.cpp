// New instances and objects, made from the schema.

#include <gtest/gtest.h>

#include <set>
#include <thread>

#include "tests/support/sample.h"

namespace {

using namespace test;

class CategoryTest : public testing::Test {
 protected:
  // Every upper-case hexadecimal digit as "h".
  static std::wstring ShapeOf(std::wstring id) {
    for (wchar_t& c : id)
      if (std::wstring_view(L"0123456789ABCDEF").find(c) != std::wstring_view::npos) c = L'h';
    return id;
  }
  Sample sample{{}, SchemaText("makers.xsd")};
  CCfgInstance instance{sample.option};
};

TEST_F(CategoryTest, ANewInstanceHoldsWhatTheSchemaGives) {
  CCfgCategory category(L"Good", sample.option);
  ASSERT_TRUE(category.CreateInstance(instance));
  EXPECT_EQ(instance.GetCategory(), L"Good");
  const std::wstring xml = XmlOf(instance);
  const std::wstring id = instance.GetInstanceId().str();
  EXPECT_EQ(ShapeOf(id), L"{hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh}") << Narrow(id);
  EXPECT_NE(xml.find(L" instance_id=\"" + id + L"\" major_version=\"1\""), std::wstring::npos);
  EXPECT_NE(xml.find(L"<Category><Good><InstanceId>" + id +
                     L"</InstanceId><Text/><Port>80</Port><Kind>good</Kind>"
                     L"<Address><Street/><Number>1</Number></Address><First/></Good></Category>"),
            std::wstring::npos)
      << Narrow(xml);
  EXPECT_FALSE(instance.SetFieldValue(L"Port", L"text")) << "types are checked";

  EXPECT_EQ(sample.Get(id), L"") << "no store knows it yet";
  ASSERT_TRUE(sample.Set(xml));
  EXPECT_NE(sample.Get(id), L"");
}

TEST_F(CategoryTest, WhatCannotBeMadeLeavesTheInstanceAsItWas) {
  ASSERT_TRUE(CCfgCategory(L"Good", sample.option).CreateInstance(instance));
  const OS::x_wstring id = instance.GetInstanceId();
  for (const wchar_t* name : {L"", L"Unknown", L"Demanding", L"NoId", L"DeepId", L"Endless",
                              L"AddressType", L"<", L"Configuration"}) {
    EXPECT_FALSE(CCfgCategory(name, sample.option).CreateInstance(instance)) << Narrow(name);
    EXPECT_EQ(instance.GetInstanceId(), id) << Narrow(name);
  }
  EXPECT_FALSE(CCfgCategory(nullptr, sample.option).CreateInstance(instance));
  EXPECT_FALSE(CCfgCategory(sample.option).CreateInstance(instance));
  CCfgOption none;
  EXPECT_FALSE(CCfgCategory(L"Good", none).CreateInstance(instance));
  EXPECT_EQ(instance.GetInstanceId(), id);
}

TEST_F(CategoryTest, AnObjectIsAFragmentWithoutTypeChecks) {
  CCfgCategory category(L"Good", sample.option);
  CCfgObject address(sample.option);
  ASSERT_TRUE(category.CreateObject(L"Address", address));
  EXPECT_EQ(TextOf(address, L"Number"), "1");
  EXPECT_TRUE(address.SetFieldValue(L"Number", 12));
  EXPECT_TRUE(address.SetFieldValue(L"Street", 7)) << "no schema, no check";
  CVar any;
  EXPECT_FALSE(address.GetFieldValue(L"Number", any)) << "no declaration either";
  ASSERT_TRUE(category.CreateInstance(instance));
  ASSERT_TRUE(instance.SetFieldValue(L"Address", address));
  int number = 0;
  EXPECT_TRUE(instance.GetFieldValue(L"Address/Number", number)) << "checked in its new place";
  EXPECT_EQ(number, 12);

  CCfgObject typed(sample.option);
  ASSERT_TRUE(category.CreateObject(L"AddressType", typed)) << "by the name of a type";
  EXPECT_FALSE(category.CreateObject(L"Unknown", typed));
  EXPECT_FALSE(category.CreateObject(nullptr, typed));
  EXPECT_FALSE(CCfgCategory(sample.option).CreateObject(L"Address", typed));
  EXPECT_EQ(TextOf(typed, L"Number"), "1") << "as it was";
}

TEST_F(CategoryTest, CopiesShareTheName) {
  CCfgCategory category(L"Demanding", sample.option);
  CCfgCategory copy(category);
  copy.SetCategory(L"Good");
  EXPECT_EQ(category.GetCategory(), L"Good");
  EXPECT_TRUE(category.CreateInstance(instance));
  category.SetCategory(nullptr);
  EXPECT_TRUE(copy.GetCategory().empty());
  Ids ids = {L"kept"};
  EXPECT_FALSE(category.EnumAllInstance(ids));
  EXPECT_EQ(Join(ids), "kept");
}

TEST_F(CategoryTest, WithoutAGuidTheIdIsTheTickCount) {
  const FailCall fail(FaultPoint::kGetrandom, 1);
  ASSERT_TRUE(CCfgCategory(L"Good", sample.option).CreateInstance(instance));
  const std::wstring id = instance.GetInstanceId().str();
  EXPECT_EQ(id.find_first_not_of(L" -0123456789"), std::wstring::npos) << Narrow(id);
  EXPECT_GE(id.size(), 8U);
}

TEST_F(CategoryTest, ThreadsMakeTenThousandDifferentIds) {
  constexpr std::size_t kThreads = 16, kEach = 625;
  std::vector<Ids> made(kThreads);
  {
    std::vector<std::jthread> threads;
    for (Ids& mine : made) {
      threads.emplace_back([&] {
        CCfgCategory category(L"Good", sample.option);
        CCfgInstance each(sample.option);
        while (mine.size() < kEach && category.CreateInstance(each))
          mine.push_back(each.GetInstanceId());
      });
    }
  }
  std::set<OS::x_wstring> ids;
  for (const Ids& some : made) ids.insert(some.begin(), some.end());
  EXPECT_EQ(ids.size(), kThreads * kEach);
}

TEST(ExampleSchemaTest, EveryCategoryMakesAnInstance) {
  CCfgOption option;
  ASSERT_TRUE(option.Initialize(Wide(CFGEX_EXAMPLES "/building/building.xsd").c_str()));
  for (const wchar_t* name : {L"Site", L"Zone", L"Controller", L"Sensor", L"Actuator", L"Schedule",
                              L"AlarmRule", L"User", L"Report", L"Calendar"}) {
    CCfgInstance made(option);
    EXPECT_TRUE(CCfgCategory(name, option).CreateInstance(made)) << Narrow(name);
  }
}

}  // namespace
