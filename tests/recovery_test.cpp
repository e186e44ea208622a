// The configuration file, its companions, and what happens when it is bad.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>

#include "src/config_file_set.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

const std::string kGood = Narrow(Configuration({Item(L"P", L"a", L"<Name>good</Name>")}));
const std::string kOther = Narrow(Configuration({Item(L"P", L"a", L"<Name>other</Name>")}));
const std::string kInvalid = "<Configuration><Wrong/></Configuration>";

// A schema, and files that a store is to be opened over.
class RecoveryTest : public testing::Test {
 protected:
  RecoveryTest() {
    WriteBytes(folder.Path(L"s.xsd"), kSampleSchema);
    EXPECT_TRUE(option.Initialize(folder.Path(L"s.xsd").c_str()));
  }
  bool Open(const std::wstring& name) { return store.Initialize(folder.Path(name).c_str()); }
  std::string NameOf(const std::wstring& id) {
    OS::x_wstring xml;
    OS::x_wstring name;
    if (!store.GetConfiguration(id.c_str(), xml)) return "none";
    CCfgInstance(xml, option).GetFieldValue(L"Name", name);
    return Narrow(name.str());
  }
  std::vector<std::string> BadFiles() const {
    std::vector<std::string> names = folder.Names();
    std::erase_if(names, [](const std::string& name) { return !name.ends_with(".bad"); });
    return names;
  }

  Folder folder;
  CCfgOption option;
  CCfgConfigurationEx store{option};
};

TEST_F(RecoveryTest, AGoodFileIsLoadedAndBackedUp) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_EQ(NameOf(L"a"), "good");
  EXPECT_EQ(ReadBytes(folder.Path(L"main.backup.xml")), kGood);
  EXPECT_EQ(folder.Names(), (std::vector<std::string>{"main.backup.xml", "main.xml", "s.xsd"}));

  WriteBytes(folder.Path(L"main.xml"), kOther);
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_EQ(NameOf(L"a"), "other");
  EXPECT_EQ(ReadBytes(folder.Path(L"main.backup.xml")), kOther);
}

TEST_F(RecoveryTest, ABadFileIsQuarantinedAndReplacedByItsBackup) {
  const std::string bad[] = {kInvalid, "", kGood.substr(0, 40), "\xff\xfe\x00",
                             "<!DOCTYPE Configuration>" + kGood};
  for (const std::string& text : bad) {
    WriteBytes(folder.Path(L"main.xml"), text);
    WriteBytes(folder.Path(L"main.backup.xml"), kGood);
    ASSERT_TRUE(Open(L"main.xml")) << text;
    EXPECT_EQ(NameOf(L"a"), "good");
    EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kGood);
    ASSERT_EQ(BadFiles().size(), 1U);
    const std::wstring quarantined = folder.Path(Wide(BadFiles().front()));
    EXPECT_EQ(ReadBytes(quarantined), text);
    std::filesystem::remove(Narrow(quarantined));
  }
}

TEST_F(RecoveryTest, WhatACrashLeftOfABadFileIsRemovedByTheNextWhateverItsNumber) {
  WriteBytes(folder.Path(L"main.xml"), kInvalid);
  WriteBytes(folder.Path(L"main.backup.xml"), kGood);
  WriteBytes(folder.Path(L".main.bad.cfgex-new"), "remains");
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_EQ(BadFiles().size(), 1U);
  EXPECT_FALSE(FileExists(folder.Path(L".main.bad.cfgex-new")));
}

TEST_F(RecoveryTest, WithoutAGoodBackupNothingIsLoaded) {
  WriteBytes(folder.Path(L"main.xml"), kInvalid);
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kInvalid);

  WriteBytes(folder.Path(L"main.backup.xml"), "<Bad/>");
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), "<Bad/>");
  EXPECT_EQ(NameOf(L"a"), "none");
}

// On a fast disk it takes less than a millisecond to find both bad.
TEST_F(RecoveryTest, TwoBadFilesOfOneMillisecondAreTwo) {
  const Folder fast(Folder::Place::kMemory);
  for (int time = 0; time < 20; ++time) {
    const std::wstring stem = fast.Path(L"main" + std::to_wstring(time));
    const std::string text = kInvalid + "<!--" + std::to_string(time) + "-->";
    WriteBytes(stem + L".xml", text);
    WriteBytes(stem + L".backup.xml", "<Bad/>");
    EXPECT_FALSE(store.Initialize((stem + L".xml").c_str()));
    const std::vector<std::string> names = fast.Names();
    EXPECT_TRUE(std::any_of(names.begin(), names.end(), [&](const std::string& name) {
      return ReadBytes(fast.Path(Wide(name))) == text;
    })) << "the last content is gone";
  }
}

TEST_F(RecoveryTest, AMissingFileTakesTwoTries) {
  WriteBytes(folder.Path(L"main.backup.xml"), kGood);
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_TRUE(BadFiles().empty());
  EXPECT_TRUE(Open(L"main.xml"));
  EXPECT_EQ(NameOf(L"a"), "good");
}

TEST_F(RecoveryTest, AnUninitialisedSchemaLoadsNothing) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  option.Uninitialize();
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kGood);
}

TEST_F(RecoveryTest, ANullPathChangesNothing) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_FALSE(store.Initialize(nullptr));
  EXPECT_EQ(NameOf(L"a"), "good");
}

TEST_F(RecoveryTest, ADirectoryIsNoFile) {
  std::filesystem::create_directory(folder.Root() / "main.xml");
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_TRUE(BadFiles().empty());
}

TEST_F(RecoveryTest, APercentInThePathIsNoFormat) {
  WriteBytes(folder.Path(L"100%d%s.xml"), kInvalid);
  WriteBytes(folder.Path(L"100%d%s.backup.xml"), kGood);
  ASSERT_TRUE(Open(L"100%d%s.xml"));
  ASSERT_EQ(BadFiles().size(), 1U);
  EXPECT_TRUE(BadFiles().front().starts_with("100%d%s."));
}

TEST_F(RecoveryTest, WithoutADotThereAreNoCompanions) {
  const std::wstring directory = folder.Path(L"plain");
  std::filesystem::create_directory(Narrow(directory));
  WriteBytes(directory + L"/main", kGood);
  ASSERT_TRUE(store.Initialize((directory + L"/main").c_str()));
  EXPECT_EQ(NameOf(L"a"), "good");
  ASSERT_TRUE(store.SetConfiguration(Document(L"b", {Item(L"P", L"b")}).c_str(), nullptr, nullptr));
  store = CCfgConfigurationEx(option);
  EXPECT_EQ(Sample::Layout(Wide(ReadBytes(directory + L"/main"))), "[P:a P:b]");
  const std::filesystem::directory_iterator files(Narrow(directory));
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

// A store that is pointed at another file leaves the one before alone, and never loads it instead.
TEST_F(RecoveryTest, AnEarlierPathIsNotTouched) {
  const std::wstring directory = folder.Path(L"plain");
  std::filesystem::create_directory(Narrow(directory));
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  WriteBytes(folder.Path(L"main.xml"), kOther);  // newer than its backup
  EXPECT_FALSE(store.Initialize((directory + L"/none").c_str()));
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kOther);

  WriteBytes(folder.Path(L"bad.xml"), kInvalid);
  EXPECT_FALSE(Open(L"bad.xml"));
  WriteBytes(folder.Path(L"bad.xml"), kGood);
  EXPECT_FALSE(Open(L"missing.xml"));
  EXPECT_EQ(NameOf(L"a"), "none");
}

// The path of the second file gives no names of its own. What became of the first file meanwhile
// must not get over its good backup.
TEST_F(RecoveryTest, AnEarlierBackupIsNotRefreshed) {
  std::filesystem::create_directory(folder.Root() / "plain");
  WriteBytes(folder.Path(L"main.xml"), kGood);
  WriteBytes(folder.Path(L"plain/main"), kOther);
  ASSERT_TRUE(Open(L"main.xml"));
  WriteBytes(folder.Path(L"main.xml"), kInvalid);
  ASSERT_TRUE(Open(L"plain/main"));
  for (int commit = 1; commit <= 10; ++commit)
    ASSERT_TRUE(
        store.SetConfiguration(Document(L"b", {Item(L"P", L"b")}).c_str(), nullptr, nullptr));
  store = CCfgConfigurationEx(option);
  EXPECT_EQ(ReadBytes(folder.Path(L"main.backup.xml")), kGood);
  EXPECT_FALSE(FileExists(folder.Path(L"main.tmp.xml")));
}

TEST_F(RecoveryTest, AnInvalidDocumentInMemoryIsQuarantinedAtTheEnd) {
  // Only the whole store breaks this rule; the instance by itself is valid.
  std::string schema = kSampleSchema;
  const std::string unique =
      "<xs:unique name='n'><xs:selector xpath='Category/*'/><xs:field xpath='Name'/></xs:unique>";
  schema.insert(schema.find("</xs:element>\n  <xs:element name=\"Category\">"), unique);
  WriteBytes(folder.Path(L"u.xsd"), schema);
  CCfgOption strict;
  ASSERT_TRUE(strict.Initialize(folder.Path(L"u.xsd").c_str()));
  store = CCfgConfigurationEx(strict);
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  const std::wstring twin = Document(L"b", {Item(L"P", L"b", L"<Name>good</Name>")});
  EXPECT_FALSE(store.SetConfiguration(twin.c_str(), nullptr, nullptr));
  EXPECT_FALSE(store.SetConfiguration(Document(L"c", {Item(L"P", L"c")}).c_str(), nullptr, nullptr))
      << "a store that is invalid in memory refuses every commit";
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kGood);
  std::filesystem::permissions(folder.Root() / "main.xml", std::filesystem::perms::owner_read);
  store = CCfgConfigurationEx(option);
  ASSERT_EQ(BadFiles().size(), 1U);
  EXPECT_EQ(std::filesystem::status(folder.Root() / BadFiles().front()).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
      << "what others may not read in the main file they may not read here";
  const std::string text = ReadBytes(folder.Path(Wide(BadFiles().front())));
  EXPECT_EQ(text.substr(0, 8), std::string("<\0C\0o\0n\0", 8)) << "UTF-16 without a mark";
  EXPECT_EQ(ReadBytes(folder.Path(L"main.backup.xml")), kGood);
}

TEST_F(RecoveryTest, EveryTenthCommitKeepsTheFileOfTheOneBefore) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  const std::wstring temp = folder.Path(L"main.tmp.xml");
  for (int commit = 1; commit <= 20; ++commit) {
    if (commit == 5) {
      ASSERT_TRUE(Open(L"main.xml"));  // the count goes on
    }
    const std::string before = ReadBytes(folder.Path(L"main.xml"));
    const std::wstring name = L"<Name>" + std::to_wstring(commit) + L"</Name>";
    ASSERT_TRUE(
        store.SetConfiguration(Document(L"a", {Item(L"P", L"a", name)}).c_str(), nullptr, nullptr));
    if (commit < 10) {
      EXPECT_FALSE(FileExists(temp)) << commit;
    } else if (commit % 10 == 0) {
      EXPECT_EQ(ReadBytes(temp), before) << commit;
    }
  }
}

TEST_F(RecoveryTest, CopiesOfAHandleAreOneStore) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  CCfgConfigurationEx copy(store);
  ASSERT_TRUE(Open(L"main.xml"));
  std::filesystem::remove(Narrow(folder.Path(L"main.backup.xml")));
  store = CCfgConfigurationEx(option);
  EXPECT_FALSE(FileExists(folder.Path(L"main.backup.xml"))) << "not the last handle";
  OS::x_wstring xml;
  EXPECT_TRUE(copy.GetConfiguration(L"a", xml));
  copy = CCfgConfigurationEx(option);
  EXPECT_TRUE(FileExists(folder.Path(L"main.backup.xml")));
}

struct Derivation {
  std::wstring path;
  std::wstring backup;  // empty when there are no names
};

TEST(ConfigFileSetTest, DerivesNamesFromThePathUpToItsLastDot) {
  const std::wstring longest(248, L'x');
  const std::wstring tooLong(249, L'x');
  const Derivation cases[] = {
      {L"main.xml", L"main.backup.xml"},
      {L"a.b.xml", L"a.b.backup.xml"},
      {L"conf.d/main", L"conf.backup.xml"},
      {L"main", L""},
      {L"", L""},
      {L".", L".backup.xml"},
      {L"50%d.xml", L"50%d.backup.xml"},
      {longest + L".xml", longest + L".backup.xml"},
      {tooLong + L".xml", L""},
      {L"a.b" + std::wstring(300, L'x') + L".xml", L"a.backup.xml"},
      {std::wstring(300, L'x') + L".xml", L""},
  };
  for (const Derivation& c : cases) {
    cfgex::CConfigFileSet set;
    EXPECT_EQ(set.DeriveFileNames(c.path.c_str()), !c.backup.empty()) << Narrow(c.path);
    EXPECT_EQ(set.GetBackupFile(), c.backup) << Narrow(c.path);
  }
  cfgex::CConfigFileSet set;
  EXPECT_FALSE(set.DeriveFileNames(nullptr));
  ASSERT_TRUE(set.DeriveFileNames(L"a.xml"));
  EXPECT_TRUE(set.DeriveFileNames(L"plain")) << "an earlier path's names stay";
  EXPECT_EQ(set.GetBackupFile(), L"a.backup.xml");
}

}  // namespace
