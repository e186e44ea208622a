// How large things may become: what is taken is read back, what is not is refused and costs
// nothing. docs/limits.md states what these tests hold; tests/soak/limits.cpp tries what takes
// longer.

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/os/file.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

constexpr std::size_t kLongText = 12'000'000;  // the engine's usual limit for one text is less

TEST(LimitsTest, ALongFieldIsReadBack) {
  Sample sample({Item(L"P", L"a", L"<Name/><Short/>")});
  const std::wstring text(kLongText, L'x');
  OS::x_wstring xml;
  {
    CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
    ASSERT_TRUE(instance.SetFieldValue(L"Name", text.c_str()));
    ASSERT_TRUE(instance.SetFieldValue(L"Short", text.c_str()));  // is held against a pattern
    ASSERT_TRUE(instance.GetXml(xml));
  }
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  sample.Reopen();
  const CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
  OS::x_wstring read;
  ASSERT_TRUE(instance.GetFieldValue(L"Name", read));
  EXPECT_TRUE(read.str() == text);
  ASSERT_TRUE(instance.GetFieldValue(L"Short", read));
  EXPECT_TRUE(read.str() == text);
}

// A schema whose category, and one field of it, have names of 100,000 characters.
TEST(LimitsTest, LongNamesWork) {
  const std::wstring category(100'000, L'C');
  const std::wstring field(100'000, L'f');
  std::string schema = kSampleSchema;
  const auto replace = [&schema](const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = schema.find(from, at)) != schema.npos; at += to.size())
      schema.replace(at, from.size(), to);
  };
  replace("\"P\"", '"' + Narrow(category) + '"');
  replace("\"Name\"", '"' + Narrow(field) + '"');

  Sample sample(
      {Item(category, L"a", L"<" + field + L">x</" + field + L">" + RefTo(category, L"b")) +
       Item(category, L"b")},
      schema.c_str());
  CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
  EXPECT_TRUE(instance.GetCategory() == category.c_str());
  ASSERT_TRUE(instance.SetFieldValue(field.c_str(), L"y"));
  CCfgInstance target(sample.option);
  ASSERT_TRUE(instance.GetFieldValue(L"Ref", target));
  EXPECT_EQ(target.GetInstanceId(), L"b");
  OS::x_wstring xml;
  ASSERT_TRUE(instance.GetXml(xml));
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  CCfgCategory maker(category.c_str(), sample.option);
  CCfgInstance made(sample.option);
  ASSERT_TRUE(maker.CreateInstance(made) && made.GetXml(xml));
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  ASSERT_TRUE(sample.store->CopyConfiguration(L"a", made.GetInstanceId(), true, nullptr, nullptr));
  sample.Reopen();
  const CCfgInstance copy(sample.Get(made.GetInstanceId().str()).c_str(), sample.option);
  OS::x_wstring value;
  ASSERT_TRUE(copy.GetFieldValue(field.c_str(), value));
  EXPECT_EQ(value, L"y");
}

std::string SchemaWithFields(int count) {
  std::string fields;
  for (int i = 0; i < count; ++i)
    fields += "<xs:element name='F" + std::to_string(i) + "' type='xs:string'/>";
  std::string schema = kSampleSchema;
  const std::string mark = "<xs:element name=\"Name\" type=\"xs:string\" minOccurs=\"0\"/>";
  return schema.replace(schema.find(mark), mark.size(), fields);
}

TEST(LimitsTest, ThousandsOfFieldsInOneInstanceWorkAndTenThousandAreRefused) {
  constexpr int kFields = 5000;
  std::wstring fields;
  for (int i = 0; i < kFields; ++i) fields += L"<F" + std::to_wstring(i) + L"/>";
  const std::string schema = SchemaWithFields(kFields);
  Sample sample({Item(L"P", L"a", fields)}, schema.c_str());
  CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
  for (int i = 0; i < kFields; ++i)
    ASSERT_TRUE(instance.SetFieldValue((L"F" + std::to_wstring(i)).c_str(), L"x"));
  OS::x_wstring xml;
  ASSERT_TRUE(instance.GetXml(xml));
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"a"), xml.str());

  WriteBytes(sample.folder.Path(L"more.xsd"), SchemaWithFields(10'000));
  CCfgOption option;
  EXPECT_FALSE(option.Initialize(sample.folder.Path(L"more.xsd").c_str()));
}

TEST(LimitsTest, TenThousandItemsOfOneFieldWork) {
  Sample sample({Item(L"P", L"a", L"<Texts/>")});
  CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
  std::vector<OS::x_wstring> texts;
  for (int i = 0; i < 10'000; ++i) texts.emplace_back(std::to_wstring(i));
  OS::x_wstring xml;
  ASSERT_TRUE(instance.SetFieldValue(L"Texts", texts) && instance.GetXml(xml));
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  sample.Reopen();
  const CCfgInstance again(sample.Get(L"a").c_str(), sample.option);
  std::vector<OS::x_wstring> read;
  ASSERT_TRUE(again.GetFieldValue(L"Texts", read));
  EXPECT_EQ(read, texts);
}

// Each object takes a copy of the one made so far: a nesting of 10,000 is asked for.
TEST(LimitsTest, NestingEndsWhereItCouldNotBeReadBack) {
  Sample sample({Item(L"P", L"a", L"<Part><Part/></Part>")});
  CCfgInstance instance(sample.Get(L"a").c_str(), sample.option);
  const std::wstring small = sample.Get(L"a");
  int depth = 2;
  OS::x_wstring xml;
  for (; depth < 10'000; ++depth) {
    CCfgInstance next(small.c_str(), sample.option);
    CCfgObject nested(sample.option);
    ASSERT_TRUE(instance.GetFieldValue(L"Part", nested));
    if (!next.SetFieldValue(L"Part/Part", nested)) break;
    instance = next;
  }
  // Configuration, Category, P, and then as many as there are.
  EXPECT_EQ(depth + 3, 1000);
  ASSERT_TRUE(instance.GetXml(xml));
  ASSERT_TRUE(sample.store->SetConfiguration(xml, nullptr, nullptr));
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"a"), xml.str());
}

TEST(LimitsTest, AFileTooLargeToBeReadIsRefused) {
  const Folder folder;
  const std::wstring path = folder.Path(L"large");
  WriteBytes(path, "");
  constexpr std::uintmax_t kThreeGigabytes = 3'000'000'000;
  std::filesystem::resize_file(Narrow(path), kThreeGigabytes);
  std::string content = "before";
  EXPECT_EQ(ReadWholeFile(path, content), Reading::kTooLarge);
  EXPECT_EQ(content, "before");
}

}  // namespace
