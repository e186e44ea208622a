// How large things may become: what is taken is read back, what is not is refused and costs
// nothing. docs/limits.md states what these tests hold. Larger sizes are tried by hand, in files
// made where TMPDIR says:
//
//   CFGEX_LIMITS_FIELD=990000000    characters of the long field (12,000,000)
//   CFGEX_LIMITS_INSTANCES=1000000  instances of the large configuration (20,000)
//   CFGEX_LIMITS_OVER=1             a store that would grow beyond what can be read; takes 13 GB

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/os/file.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

TEST(LimitsTest, ALongFieldIsReadBack) {
  Sample sample({Item(L"P", L"a", L"<Name/><Short/>")});
  const std::size_t length = Setting("CFGEX_LIMITS_FIELD", 12'000'000);  // beyond the engine's own
  const std::wstring text(length, L'x');
  for (const wchar_t* field : {L"Name", L"Short"}) {  // the second is held against a pattern
    CCfgInstance instance = sample.Read(L"a");
    ASSERT_TRUE(instance.SetFieldValue(field, text.c_str()));
    ASSERT_TRUE(sample.Set(instance));
    sample.Reopen();
    EXPECT_TRUE(TextOf(sample.Read(L"a"), field) == Narrow(text)) << Narrow(field);
    ASSERT_TRUE(sample.Set(Alone(L"a", L"<Name/><Short/>")));
  }
}

TEST(LimitsTest, ALargeConfigurationIsOpenedChangedAndOpenedAgain) {
  const std::size_t count = Setting("CFGEX_LIMITS_INSTANCES", 20'000);
  Sample sample({});
  std::string text = "<Configuration><Category>\n";
  for (std::size_t i = 0; i < count; ++i) {
    const std::wstring id = std::to_wstring(i);
    text += Narrow(Item(L"P", id,
                        L"<Name>The name of instance " + id + L"</Name><Count>" + id +
                            L"</Count><Size>17</Size><On>true</On>"
                            L"<When>2026-01-02T03:04:05Z</When>" +
                            RefTo(L"P", std::to_wstring(i / 2)) +
                            L"<Texts><Item>one text</Item><Item>another</Item></Texts>"));
  }
  WriteBytes(sample.configFile, text + "</Category></Configuration>\n");
  sample.Reopen();
  for (const std::size_t number : {count - 1, count - 2}) {
    CCfgInstance instance = sample.Read(std::to_wstring(number));
    ASSERT_TRUE(instance.SetFieldValue(L"Name", L"changed"));
    ASSERT_TRUE(sample.Set(instance));
  }
  sample.Reopen();
  EXPECT_EQ(TextOf(sample.Read(std::to_wstring(count - 2)), L"Name"), "changed");
}

// In the file, "&" takes five bytes: memory holds what the file could not.
TEST(LimitsTest, AStoreDoesNotGrowBeyondWhatCanBeRead) {
  if (Setting("CFGEX_LIMITS_OVER", 0) == 0) GTEST_SKIP() << "takes 13 GB";
  constexpr std::size_t kPart = 220'000'000;
  Sample sample({Item(L"P", L"a", L"<Name/>") + Item(L"P", L"b", L"<Name/>")});
  const auto fill = [&sample](const wchar_t* id, std::size_t length) {
    CCfgInstance instance = sample.Read(id);
    EXPECT_TRUE(instance.SetFieldValue(L"Name", std::wstring(length, L'&').c_str()));
    const std::wstring xml = XmlOf(instance);
    instance = CCfgInstance(sample.option);
    return sample.Set(xml);
  };
  const auto size = [&sample] { return std::filesystem::file_size(Narrow(sample.configFile)); };
  ASSERT_TRUE(fill(L"a", kPart));
  const std::uintmax_t first = size();
  EXPECT_GT(first, 5 * kPart);
  EXPECT_TRUE(fill(L"b", kPart)) << "stands in memory, as after any save that fails";
  EXPECT_EQ(size(), first);
  EXPECT_TRUE(fill(L"b", 1));
  EXPECT_GT(size(), first);
  sample.Reopen();
  CCfgInstance object = sample.Read(L"b");
  EXPECT_EQ(TextOf(object, L"Name"), "&");
  ASSERT_TRUE(object.SetFieldValue(L"Name", std::wstring(2 * kPart, L'&').c_str()));
  const std::wstring path = sample.folder.Path(L"object.xml");
  EXPECT_TRUE(!object.SaveToFile(path.c_str()) && !test::FileExists(path));
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
      schema);
  CCfgInstance instance = sample.Read(L"a");
  EXPECT_TRUE(instance.GetCategory() == category.c_str());
  ASSERT_TRUE(instance.SetFieldValue(field.c_str(), L"y"));
  CCfgInstance target(sample.option);
  ASSERT_TRUE(instance.GetFieldValue(L"Ref", target));
  EXPECT_EQ(target.GetInstanceId(), L"b");
  ASSERT_TRUE(sample.Set(instance));
  CCfgInstance made(sample.option);
  ASSERT_TRUE(CCfgCategory(category.c_str(), sample.option).CreateInstance(made));
  ASSERT_TRUE(sample.Set(made));
  sample.Reopen();
  EXPECT_EQ(TextOf(sample.Read(L"a"), field.c_str()), "y");
}

std::string SchemaWithFields(int count) {
  std::string fields;
  for (int i = 0; i < count; ++i)
    fields += "<xs:element name='F" + std::to_string(i) + "' type='xs:string'/>";
  std::string schema = kSampleSchema;
  const std::string mark = "<xs:element name=\"Name\" type=\"xs:string\" minOccurs=\"0\"/>";
  return schema.replace(schema.find(mark), mark.size(), fields);
}

TEST(LimitsTest, ThousandsOfFieldsAndOfItemsWorkAndTenThousandFieldsAreRefused) {
  constexpr int kFields = 5000;
  std::wstring fields;
  for (int i = 0; i < kFields; ++i) fields += L"<F" + std::to_wstring(i) + L"/>";
  Sample sample({Item(L"P", L"a", fields + L"<Texts/>")}, SchemaWithFields(kFields));
  CCfgInstance instance = sample.Read(L"a");
  for (int i = 0; i < kFields; ++i)
    ASSERT_TRUE(instance.SetFieldValue((L"F" + std::to_wstring(i)).c_str(), L"x"));
  const Ids texts(10'000, L"text");
  ASSERT_TRUE(instance.SetFieldValue(L"Texts", texts) && sample.Set(instance));
  sample.Reopen();
  Ids read;
  EXPECT_TRUE(sample.Read(L"a").GetFieldValue(L"Texts", read) && read == texts);
  EXPECT_EQ(sample.Get(L"a"), XmlOf(instance));

  WriteBytes(sample.folder.Path(L"more.xsd"), SchemaWithFields(10'000));
  CCfgOption option;
  EXPECT_FALSE(option.Initialize(sample.folder.Path(L"more.xsd").c_str()));
}

// Each object takes a copy of the one made so far: a nesting of 10,000 is asked for.
TEST(LimitsTest, NestingEndsWhereItCouldNotBeReadBack) {
  Sample sample({Item(L"P", L"a", L"<Part><Part/></Part>")});
  CCfgInstance instance = sample.Read(L"a");
  const std::wstring small = sample.Get(L"a");
  int depth = 2;
  for (; depth < 10'000; ++depth) {
    CCfgInstance next(small.c_str(), sample.option);
    CCfgObject nested(sample.option);
    ASSERT_TRUE(instance.GetFieldValue(L"Part", nested));
    if (!next.SetFieldValue(L"Part/Part", nested)) break;
    instance = next;
  }
  // Configuration, Category, P, and then as many as there are.
  EXPECT_EQ(depth + 3, 1000);
  ASSERT_TRUE(sample.Set(instance));
  sample.Reopen();
  EXPECT_EQ(sample.Get(L"a"), XmlOf(instance));
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
