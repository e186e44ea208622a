// The schema holder.

#include <gtest/gtest.h>

#include <array>
#include <barrier>
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

class OptionTest : public testing::Test {
 protected:
  // The path of a file with that schema.
  std::wstring Made(const std::wstring& name, const std::string& attributes) const {
    WriteBytes(folder.Path(name), SchemaWithRoot(attributes));
    return folder.Path(name);
  }
  const Folder folder;
  const std::wstring none = folder.Path(L"none.xsd");
};

TEST_F(OptionTest, EachNumberOfTheVersionNeedsOneMorePiece) {
  const std::pair<std::string, Version> cases[] = {{"1.2.3", {1, 2, 0}},
                                                   {"1.2.3.4", {1, 2, 3}},
                                                   {"1.2", {1, 0, 0}},
                                                   {"7", {0, 0, 0}},
                                                   {"", {0, 0, 0}},
                                                   {"1..3.4", {1, 0, 3}},
                                                   {".1.2.", {0, 1, 2}},
                                                   {"x.2y. -3.4", {0, 2, 4294967293}},
                                                   {"4294967295.0.0.0", {4294967295, 0, 0}}};
  for (const auto& [text, version] : cases) {
    CCfgOption option;
    ASSERT_TRUE(option.Initialize(Made(L"s.xsd", "version='" + text + "'").c_str())) << text;
    EXPECT_EQ(VersionOf(option), version) << text;
  }
}

TEST_F(OptionTest, KeepsItsSchemaUntilItIsUninitialised) {
  const std::wstring first = Made(L"a.xsd", "version='1.0.0.0'");
  const std::wstring second = Made(L"b.xsd", "version='2.0.0.0' targetNamespace='urn:b'");
  CCfgOption option;
  const CCfgOption copy(option);
  EXPECT_EQ(copy.GetSchemaCache(), nullptr);
  EXPECT_FALSE(option.Initialize(nullptr));
  EXPECT_FALSE(option.Initialize(none.c_str()));
  EXPECT_EQ(option.GetSchemaFile(), none);
  ASSERT_TRUE(option.Initialize(first.c_str()));
  EXPECT_TRUE(option.Initialize(second.c_str()));
  EXPECT_TRUE(option.Initialize(nullptr));
  EXPECT_EQ(option.GetSchemaFile(), first);
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

// What no schema is, the tests of the schema cache have.
TEST_F(OptionTest, ReadsAFileAfterItWasRefused) {
  CCfgOption option;
  EXPECT_FALSE(option.Initialize(folder.Path(L"").c_str())) << "a directory";
  const std::wstring late = folder.Path(L"late.xsd");
  EXPECT_FALSE(option.Initialize(late.c_str())) << "not there yet";
  WriteBytes(late, "<xs:schema");
  EXPECT_FALSE(option.Initialize(late.c_str()));
  WriteBytes(late,
             "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema'>"
             "<xs:include schemaLocation='part.xsd'/></xs:schema>");
  EXPECT_FALSE(option.Initialize(late.c_str())) << "a part is not there yet";
  Made(L"part.xsd", "");
  EXPECT_TRUE(option.Initialize(late.c_str()));
}

TEST_F(OptionTest, PluginsMayStartAtOnce) {
  const std::wstring file = Made(L"s.xsd", "version='1.0.0.0'");
  for (int round = 0; round < 20; ++round) {
    std::vector<std::jthread> threads;
    std::barrier start(4);
    for (int i = 0; i < 4; ++i)
      threads.emplace_back([&] {
        start.arrive_and_wait();
        CCfgEx_Initialization(none.c_str());  // unless another was before it
        EXPECT_TRUE(CCfgEx_Initialization(file.c_str()));
        if (round % 2 != 0) CCfgEx_Uninitialization();
      });
    threads.clear();
    EXPECT_EQ(CCfgOption::m_pInstance != nullptr, round % 2 == 0);
    CCfgEx_Uninitialization();
  }
}

TEST_F(OptionTest, TheSingletonComesAndGoes) {
  const std::wstring file = Made(L"s.xsd", "version='1.0.0.0'");
  EXPECT_TRUE(CCfgEx_Uninitialization());
  EXPECT_EQ(CCfgOption::m_pInstance, nullptr);
  EXPECT_FALSE(CCfgEx_Initialization(none.c_str()));
  ASSERT_TRUE(CCfgEx_Initialization(file.c_str())) << "after one that failed";
  EXPECT_TRUE(CCfgEx_Initialization(none.c_str())) << "the first one stays";
  EXPECT_EQ(CCfgOption::m_pInstance->GetSchemaFile(), file);
  const CCfgOption kept(*CCfgOption::m_pInstance);
  EXPECT_TRUE(CCfgEx_Uninitialization());
  EXPECT_EQ(CCfgOption::m_pInstance, nullptr);
  EXPECT_EQ(kept.GetSchemaCache(), nullptr);
}

}  // namespace
