// The schema holder.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "platform/os/system.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

std::string SchemaWithRoot(const std::string& attributes) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' " + attributes +
         "><xs:element name='Configuration'/></xs:schema>";
}

struct Version {
  const char* text;
  unsigned long major, minor, revision;
};

class OptionVersionTest : public testing::TestWithParam<Version> {};

TEST_P(OptionVersionTest, EachNumberNeedsOneMorePiece) {
  const Version& expected = GetParam();
  const Folder folder;
  const std::wstring file = folder.Path(L"s.xsd");
  WriteBytes(file, SchemaWithRoot("version='" + std::string(expected.text) + "'"));
  CCfgOption option;
  ASSERT_TRUE(option.Initialize(file.c_str()));
  unsigned long major = 9, minor = 9, revision = 9;
  option.GetSchemaVersion(major, minor, revision);
  EXPECT_EQ(major, expected.major);
  EXPECT_EQ(minor, expected.minor);
  EXPECT_EQ(revision, expected.revision);
}

INSTANTIATE_TEST_SUITE_P(Versions, OptionVersionTest,
                         testing::Values(Version{"1.2.3", 1, 2, 0}, Version{"1.2.3.4", 1, 2, 3},
                                         Version{"1.2", 1, 0, 0}, Version{"7", 0, 0, 0},
                                         Version{"", 0, 0, 0}, Version{"1..3.4", 1, 0, 3},
                                         Version{"x.2y. -3.4", 0, 2, 4294967293},
                                         Version{"4294967295.0.0.0", 4294967295, 0, 0}));

TEST(OptionTest, KeepsItsSchemaUntilItIsUninitialised) {
  const Folder folder;
  const std::wstring first = folder.Path(L"a.xsd");
  const std::wstring second = folder.Path(L"b.xsd");
  WriteBytes(first, SchemaWithRoot("version='1.0.0.0'"));
  WriteBytes(second, SchemaWithRoot("version='2.0.0.0' targetNamespace='urn:b'"));
  unsigned long major = 0, minor = 0, revision = 0;

  CCfgOption option;
  const CCfgOption copy(option);
  EXPECT_EQ(copy.GetSchemaCache(), nullptr);
  EXPECT_FALSE(option.Initialize(nullptr));
  EXPECT_FALSE(option.Initialize(folder.Path(L"none.xsd").c_str()));
  EXPECT_EQ(option.GetSchemaFile(), folder.Path(L"none.xsd").c_str());
  ASSERT_TRUE(option.Initialize(first.c_str()));
  EXPECT_TRUE(option.Initialize(second.c_str()));
  EXPECT_TRUE(option.Initialize(nullptr));
  EXPECT_EQ(option.GetSchemaFile(), first.c_str());
  EXPECT_TRUE(option.GetTargetNamespace().empty());
  EXPECT_NE(copy.GetSchemaCache(), nullptr);

  EXPECT_TRUE(option.Uninitialize());
  EXPECT_EQ(copy.GetSchemaCache(), nullptr);
  EXPECT_TRUE(option.GetSchemaFile().empty());
  copy.GetSchemaVersion(major, minor, revision);
  EXPECT_EQ(major, 0U);
  ASSERT_TRUE(option.Initialize(second.c_str()));
  EXPECT_EQ(copy.GetTargetNamespace(), L"urn:b");
  copy.GetSchemaVersion(major, minor, revision);
  EXPECT_EQ(major, 2U);
}

TEST(OptionTest, AVersionIsSplitAtItsSeparators) {
  const struct {
    const wchar_t *text, *separator, *pieces;
  } cases[] = {{L"1.2", L".", L"0|1|2"},      {L"", L".", L"0|"},        {L".a.", L".", L"0||a|"},
               {L"a::b::", L"::", L"0|a|b|"}, {L"a:b", L"::", L"0|a:b"}, {L"a", L"", L"0"},
               {L"a", nullptr, L"0"}};
  for (const auto& each : cases) {
    std::vector<OS::x_wstring> tokens{L"0"};
    const bool done = OS::SplitStringToTokensW(&tokens, each.text, each.separator);
    EXPECT_EQ(done, tokens.size() > 1);
    std::wstring pieces;
    for (const OS::x_wstring& token : tokens) pieces += L"|" + token.str();
    EXPECT_EQ(pieces.substr(1), each.pieces);
  }
  EXPECT_FALSE(OS::SplitStringToTokensW(nullptr, L"a", L"."));
}

TEST(OptionTest, RefusesWhatIsNoSchema) {
  const Folder folder;
  const std::wstring file = folder.Path(L"s.xsd");
  for (const char* text :
       {"", "<xs:schema", "<a/>", "<!DOCTYPE a><a/>",
        "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'><xs:element name='a' type='b'/>"
        "</xs:schema>"}) {
    WriteBytes(file, text);
    CCfgOption option;
    EXPECT_FALSE(option.Initialize(file.c_str())) << text;
    WriteBytes(file, SchemaWithRoot(""));
    EXPECT_TRUE(option.Initialize(file.c_str())) << "after " << text;
  }
  CCfgOption option;
  EXPECT_FALSE(option.Initialize(folder.Path(L"").c_str())) << "a directory";
  const std::wstring late = folder.Path(L"late.xsd");
  EXPECT_FALSE(option.Initialize(late.c_str())) << "not there yet";
  WriteBytes(late,
             "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
             "<xs:include schemaLocation='part.xsd'/></xs:schema>");
  EXPECT_FALSE(option.Initialize(late.c_str())) << "a part is not there yet";
  WriteBytes(folder.Path(L"part.xsd"), SchemaWithRoot(""));
  EXPECT_TRUE(option.Initialize(late.c_str()));
}

TEST(OptionTest, PluginsMayStartAtOnce) {
  const Folder folder;
  const std::wstring file = folder.Path(L"s.xsd");
  WriteBytes(file, SchemaWithRoot("version='1.0.0.0'"));
  for (int round = 0; round < 20; ++round) {
    std::vector<std::thread> threads;
    std::atomic<int> ready{0};
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&] {
        for (++ready; ready < 4;) {
        }
        CCfgEx_Initialization(folder.Path(L"none.xsd").c_str());  // unless another was before it
        EXPECT_TRUE(CCfgEx_Initialization(file.c_str()));
        if (round % 2 != 0) CCfgEx_Uninitialization();
      });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(CCfgOption::m_pInstance != nullptr, round % 2 == 0);
    CCfgEx_Uninitialization();
  }
}

TEST(OptionTest, TheSingletonComesAndGoes) {
  const Folder folder;
  const std::wstring file = folder.Path(L"s.xsd");
  WriteBytes(file, SchemaWithRoot("version='1.0.0.0'"));
  EXPECT_TRUE(CCfgEx_Uninitialization());
  EXPECT_EQ(CCfgOption::m_pInstance, nullptr);
  EXPECT_FALSE(CCfgEx_Initialization(folder.Path(L"none.xsd").c_str()));
  ASSERT_TRUE(CCfgEx_Initialization(file.c_str())) << "after one that failed";
  EXPECT_TRUE(CCfgEx_Initialization(folder.Path(L"none.xsd").c_str())) << "the first one stays";
  EXPECT_EQ(CCfgOption::m_pInstance->GetSchemaFile(), file);
  const CCfgOption kept(*CCfgOption::m_pInstance);
  EXPECT_TRUE(CCfgEx_Uninitialization());
  EXPECT_EQ(CCfgOption::m_pInstance, nullptr);
  EXPECT_EQ(kept.GetSchemaCache(), nullptr);
}

}  // namespace
