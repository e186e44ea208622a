// Removing and copying instances of a store: what callers rely on, each way to fail, and large
// sets. Random sequences of all operations are in tests/store_model_test.cpp.

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "platform/dom/create_object.h"
#include "platform/dom/dom.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

std::wstring Named(const std::wstring& name) { return L"<Name>" + name + L"</Name>"; }

TEST(CopyTest, ARefusalChangesNothing) {
  const std::wstring dangling = L"<Ref><InstanceId>b</InstanceId></Ref>";
  Sample sample({Item(L"P", L"s") + Item(L"P", L"t") + Item(L"P", L"&lt;") + Item(L"P", L"b") +
                     Item(L"P", L"invalid", dangling),
                 Item(L"Q", L"q")},
                SampleSchemaWith(kReferencesLeadSomewhere));
  const std::string before = ReadBytes(sample.configFile);
  const std::pair<const wchar_t*, const wchar_t*> refused[] = {
      {nullptr, L"t"}, {L"s", nullptr}, {L"none", L"t"},    {L"s", L"none"},
      {L"s", L"q"},    {L"it's", L"t"}, {L"s", L"it's"},    {L"<", L"t"},
      {L"s", L"<"},    {L"", L"t"},     {L"invalid", L"t"}, {L"s", L"invalid"}};
  CCfgConfigurationEx closed(sample.option);
  Ids changed;
  Ids reserved = {L"r"};
  for (const bool deep : {false, true}) {
    for (const auto& [source, target] : refused)
      EXPECT_FALSE(sample.store->CopyConfiguration(source, target, deep, &changed, nullptr))
          << Narrow(source ? source : L"null") << " to " << Narrow(target ? target : L"null");
    EXPECT_FALSE(sample.store->CopyConfiguration(L"s", L"t", deep, &changed, &reserved));
    EXPECT_FALSE(closed.CopyConfiguration(L"s", L"t", deep, &changed, nullptr));
  }
  EXPECT_EQ(Join(reserved), "r");
  sample.option.Uninitialize();
  EXPECT_FALSE(sample.store->CopyConfiguration(L"s", L"t", false, &changed, nullptr));
  EXPECT_TRUE(changed.empty());
  EXPECT_EQ(ReadBytes(sample.configFile), before);
}

// A removal can be what the schema refuses, the one that a copy begins with too, or the copy that
// follows it. Memory keeps the change, to be mended.
TEST(RemoveAndCopyTest, WhatMakesTheDocumentInvalidIsNotSaved) {
  enum { kRemove, kShallow, kDeep };
  for (const auto& [operation, removing] : {std::pair(kRemove, true),
                                            {kShallow, true},
                                            {kShallow, false},
                                            {kDeep, true},
                                            {kDeep, false}}) {
    Sample sample(
        {Item(L"P", L"s", Named(L"n")) + Item(L"P", L"t") + Item(L"P", L"o", RefTo(L"P", L"t"))},
        SampleSchemaWith(removing ? kReferencesLeadSomewhere : kNamesDiffer));
    const std::string before = ReadBytes(sample.configFile);
    Ids changed;
    EXPECT_FALSE(
        operation == kRemove
            ? sample.store->RemoveConfiguration(Alone(L"t").c_str(), &changed)
            : sample.store->CopyConfiguration(L"s", L"t", operation == kDeep, &changed, nullptr));
    EXPECT_EQ(Join(changed), removing && operation != kRemove ? "" : "t");
    EXPECT_EQ(ReadBytes(sample.configFile), before);
    EXPECT_EQ(sample.Get(L"t").empty(), removing);
    EXPECT_TRUE(sample.Set(Alone(L"t", Named(L"other"))));
    EXPECT_EQ(sample.Layout(), "[P:s P:o P:t]");
  }
}

TEST(CopyTest, NewIdsDifferAlsoWhereNoGuidCanBeHad) {
  const std::wstring references = RefsTo({{L"Q", L"x"}, {L"Q", L"y"}, {L"R", L"dangling"}});
  Sample sample({Item(L"P", L"s", references) + Item(L"P", L"t") + Item(L"P", L"u"),
                 Item(L"Q", L"x") + Item(L"Q", L"y")});
  const FailCall fail(FaultPoint::kGetrandom, 1, true);
  Ids changed;
  ASSERT_TRUE(sample.store->CopyConfiguration(L"s", L"t", true, &changed, nullptr));
  ASSERT_TRUE(sample.store->CopyConfiguration(L"s", L"u", true, &changed, nullptr));
  EXPECT_GE(fail.Passed(), 6);
  std::set<std::wstring> ids;
  for (const OS::x_wstring& id : changed) ids.insert(id.str());
  EXPECT_EQ(ids.size(), 8U) << Join(changed);
}

// The walks and the copy go through any number of instances, one after the other or in circles.
TEST(CopyTest, ADeepCopyOfTenThousandInstancesEnds) {
  constexpr int kCount = 10000;
  for (const bool ring : {false, true}) {
    const auto near = [ring](int i) {  // the numbers that number `i` refers to
      return ring             ? std::set<int>{(i + 1) % kCount, (i + kCount - 1) % kCount}
             : i + 1 < kCount ? std::set<int>{i + 1}
                              : std::set<int>{};
    };
    std::wstring items;
    for (int i = 0; i < kCount; ++i) {
      std::vector<Target> targets;
      for (const int j : near(i)) targets.emplace_back(L"Q", L"i" + std::to_wstring(j));
      const std::wstring number = std::to_wstring(i);
      items += Item(L"Q", L"i" + number, Named(number) + RefsTo(targets));
    }
    Sample sample({Item(L"P", L"s", RefTo(L"Q", L"i0")) + Item(L"P", L"t"), items});
    Ids changed;
    ASSERT_TRUE(sample.store->CopyConfiguration(L"s", L"t", true, &changed, nullptr));
    EXPECT_EQ(changed.size(), kCount + 1U);

    const auto copy = CreateObject<IXMLDOMDocument2>(L"MSXML2.DOMDocument.6.0");
    ASSERT_TRUE(copy->loadXML(sample.Get(L"t")));
    const auto found = copy->selectNodes(L"/Configuration/Category/Q");
    ASSERT_EQ(found->get_length(), kCount);
    std::map<std::wstring, int> numbers;  // by id
    for (long i = 0; i < kCount; ++i)
      numbers[found->get_item(i)->selectSingleNode(L"InstanceId")->get_text()] =
          std::stoi(found->get_item(i)->selectSingleNode(L"Name")->get_text());
    EXPECT_EQ(numbers.size(), size_t{kCount});
    for (long i = 0; i < kCount; ++i) {
      const auto references = found->get_item(i)->selectNodes(L"Refs/Item/InstanceId");
      std::set<int> targets;
      for (long r = 0; r < references->get_length(); ++r)
        targets.insert(numbers.at(references->get_item(r)->get_text()));
      const int number = std::stoi(found->get_item(i)->selectSingleNode(L"Name")->get_text());
      ASSERT_EQ(targets, near(number));
    }
  }
}

}  // namespace
