// The schema holder.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/sample.h"

namespace {

using namespace test;

std::string SchemaWithRoot(const std::string& attributes) {
  return "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' " + attributes +
         "><xs:element name='Configuration'/></xs:schema>";
}

using Version = std::array<unsigned long, 3>;

Version VersionOf(const CCfgOption& option) {
  Version version = {9, 9, 9};
  option.GetSchemaVersion(version[0], version[1], version[2]);
  return version;
}

TEST(OptionTest, EachNumberOfTheVersionNeedsOneMorePiece) {
  const std::pair<std::string, Version> cases[] = {{"1.2.3", {1, 2, 0}},
                                                   {"1.2.3.4", {1, 2, 3}},
                                                   {"1.2", {1, 0, 0}},
                                                   {"7", {0, 0, 0}},
                                                   {"", {0, 0, 0}},
                                                   {"1..3.4", {1, 0, 3}},
                                                   {".1.2.", {0, 1, 2}},
                                                   {"x.2y. -3.4", {0, 2, 4294967293}},
                                                   {"4294967295.0.0.0", {4294967295, 0, 0}}};
  const Folder folder;
  const std::wstring file = folder.Path(L"s.xsd");
  for (const auto& [text, version] : cases) {
    WriteBytes(file, SchemaWithRoot("version='" + text + "'"));
    CCfgOption option;
    ASSERT_TRUE(option.Initialize(file.c_str())) << text;
    EXPECT_EQ(VersionOf(option), version) << text;
  }
}

TEST(OptionTest, KeepsItsSchemaUntilItIsUninitialised) {
  const Folder folder;
  const std::wstring first = folder.Path(L"a.xsd");
  const std::wstring second = folder.Path(L"b.xsd");
  WriteBytes(first, SchemaWithRoot("version='1.0.0.0'"));
  WriteBytes(second, SchemaWithRoot("version='2.0.0.0' targetNamespace='urn:b'"));

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
  EXPECT_EQ(VersionOf(copy), Version{});
  ASSERT_TRUE(option.Initialize(second.c_str()));
  EXPECT_EQ(copy.GetTargetNamespace(), L"urn:b");
  EXPECT_EQ(VersionOf(copy)[0], 2U);
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
