// Reading, writing, removing and copying instances of a store: what callers rely on, and each way
// to fail. Random sequences of all operations are in tests/store_model_test.cpp.

#include <gtest/gtest.h>

#include <set>

#include "tests/support/store_case.h"

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
  for (int i = 0; i < 2000; ++i) nestedParts.insert(0, L"<Part>").append(L"</Part>");
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

// The walks and the copy go through any number of instances, also in circles.
TEST(CopyTest, ADeepCopyOfTenThousandInstancesEnds) {
  constexpr int kCount = 10000;
  const auto id = [](int i) {
    const std::wstring digits = std::to_wstring(i % kCount);
    return L"{" + std::wstring(36 - digits.size(), L'0') + digits + L"}";
  };
  std::wstring ring;
  for (int i = 0; i < kCount; ++i)
    ring += Item(L"Q", id(i), RefsTo({{L"Q", id(i + 1)}, {L"Q", id(i + kCount - 1)}}));
  Sample sample({Item(L"P", L"s", RefTo(L"Q", id(0))) + Item(L"P", L"t"), ring});
  Ids changed;
  ASSERT_TRUE(sample.store->CopyConfiguration(L"s", L"t", true, &changed, nullptr));
  EXPECT_EQ(changed.size(), kCount + 1U);
  const auto contentOf = [&sample](const wchar_t* name) {
    const std::string text = Narrow(sample.Get(name));
    return WithIdsNumbered(text.substr(text.find("<Ref>")));
  };
  EXPECT_TRUE(sample.Get(L"t").find(id(1)) == std::wstring::npos);
  EXPECT_TRUE(contentOf(L"t") == contentOf(L"s"));
}

}  // namespace
