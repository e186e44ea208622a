// The configuration file, its companions, and what happens when it is bad.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <thread>

#include "platform/os/fault_point.h"
#include "src/config_file_set.h"
#include "tests/support/mishap.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

const std::string kGood = Narrow(Configuration({Item(L"P", L"a", L"<Name>good</Name>")}));
const std::string kOther = Narrow(Configuration({Item(L"P", L"a", L"<Name>other</Name>")}));
const std::string kInvalid = "<Configuration><Wrong/></Configuration>";
constexpr auto kMineAlone =
    std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;

using Names = std::vector<std::string>;

Names BadFiles(const Folder& folder) {
  Names names = folder.Names();
  std::erase_if(names, [](const std::string& name) { return !name.ends_with(".bad"); });
  return names;
}

// A store that is open over kGood, in a folder with its backup.
class RecoveryTest : public testing::Test, protected Sample {
 protected:
  RecoveryTest() : Sample({Item(L"P", L"a", L"<Name>good</Name>")}) {}
  bool Open(const std::wstring& name) {
    if (store == nullptr) store = std::make_unique<CCfgConfigurationEx>(option);
    return store->Initialize(folder.Path(name).c_str());
  }
  std::string NameOfA() { return TextOf(Read(L"a"), L"Name"); }

  const std::wstring backup = folder.Path(L"main.backup.xml");
};

struct Opening {
  std::optional<std::string> main, backup;
  bool opens;
  std::string after;  // the main file, and if it opens the backup
  std::size_t bad;    // files put aside
};

TEST_F(RecoveryTest, AFileThatIsNotGoodIsPutAsideAndGivesWayToItsBackup) {
  std::vector<Opening> cases = {{kGood, {}, true, kGood, 0},
                                {kOther, kGood, true, kOther, 0},
                                {{}, kGood, false, kGood, 0},
                                {kInvalid, {}, false, kInvalid, 1},
                                {kInvalid, "<Bad/>", false, "<Bad/>", 2}};
  for (const std::string& bad :
       {kInvalid, std::string(), kGood.substr(0, 40), std::string("\xff\xfe\x00", 3),
        "<!DOCTYPE Configuration>" + kGood,
        // valid by the schema, but no configuration
        std::string("<Category/>"), std::string("<P><InstanceId>a</InstanceId></P>")})
    cases.push_back({bad, kGood, true, kGood, 1});
  for (const auto& [main, copy, opens, after, bad] : cases) {
    SCOPED_TRACE(main.value_or("missing"));
    const Folder place(Folder::Place::kMemory);
    const std::wstring path = place.Path(L"100%d%s.xml");  // no format
    const std::wstring pathOfBackup = place.Path(L"100%d%s.backup.xml");
    if (main) WriteBytes(path, *main);
    if (copy) WriteBytes(pathOfBackup, *copy);
    WriteBytes(place.Path(L".cfgex-new"), "remains of a crash");
    store = std::make_unique<CCfgConfigurationEx>(option);
    EXPECT_EQ(store->Initialize(path.c_str()), opens);
    EXPECT_EQ(ReadBytes(path), after);
    EXPECT_EQ(NameOfA(), !opens ? "none" : after == kGood ? "good" : "other");
    EXPECT_TRUE(!opens || ReadBytes(pathOfBackup) == after);
    EXPECT_EQ(store->Initialize(path.c_str()), opens || !main) << "a missing file takes two tries";
    const Names aside = BadFiles(place);
    EXPECT_EQ(aside.size(), bad) << "each once";
    for (const std::string& name : aside) EXPECT_TRUE(name.starts_with("100%d%s.")) << name;
    EXPECT_TRUE(bad != 1 || ReadBytes(place.Path(Wide(aside[0]))) == main);
    EXPECT_EQ(test::FileExists(place.Path(L".cfgex-new")), bad == 0);
  }
}

TEST(OpeningTest, DropsEmptyGroupsOnceThereAreMoreThanAHundred) {
  for (const auto& [empty, kept] : {std::pair(100, 100), std::pair(101, 0)}) {
    std::vector<std::wstring> groups(static_cast<std::size_t>(empty));
    groups.insert(groups.begin() + 50, Item(L"P", L"a"));
    groups.push_back(L"<!--somebody's-->");
    Sample sample(groups);
    ASSERT_TRUE(sample.Set(Alone(L"a", L"<Name>n</Name>")));
    const std::string layout = sample.Layout();
    EXPECT_EQ(std::count(layout.begin(), layout.end(), '['), kept + 2) << empty;
  }
}

// Where a damaged file cannot be copied it gets a second name, or goes to one, and stays in its
// place if that cannot be either. It is never lost.
TEST_F(RecoveryTest, ADamagedFileIsNotReplacedBeforeItIsSafe) {
  using Calls = std::vector<Mishap::Calls>;
  const Mishap::Calls copy = {FaultPoint::kOpen, "/.cfgex-new", ENOSPC};
  const Mishap::Calls anyCopy = {FaultPoint::kOpen, ".cfgex-new", ENOSPC};
  const Mishap::Calls link = {FaultPoint::kLink, "", ENOSPC};
  const Mishap::Calls move = {FaultPoint::kRenameat2, "", ENOSPC};
  const struct {
    const char* name;
    Calls failing;
    bool opens;  // if there is a backup
  } rows[] = {{"no copy", {copy}, true},
              {"no link", {copy, link}, true},
              {"no restoring", {anyCopy, link}, false},
              {"nothing", {copy, link, move}, false}};
  for (const auto& row : rows) {
    for (const auto& [isLink, hasBackup] :
         {std::pair(false, true), {true, true}, {false, false}, {true, false}}) {
      SCOPED_TRACE(std::string(row.name) + (isLink ? ", through a link" : "") +
                   (hasBackup ? ", with a backup" : ""));
      const Folder place(Folder::Place::kMemory);
      const std::wstring main = place.Path(L"main.xml");
      if (isLink) std::filesystem::create_symlink("real", place.Root() / "main.xml");
      WriteBytes(main, kInvalid);
      if (hasBackup) WriteBytes(place.Path(L"main.backup.xml"), kGood);
      const bool opens = row.opens && hasBackup;
      {
        const Mishap mishap(Mishap::kFailOnward, 1, row.failing);
        EXPECT_EQ(store->Initialize(main.c_str()), opens);
      }
      EXPECT_EQ(ReadBytes(main), opens ? kGood : kInvalid);
      EXPECT_EQ(std::filesystem::is_symlink(place.Root() / "main.xml"), isLink);
      const Names bad = BadFiles(place);
      EXPECT_TRUE(!bad.empty() || !opens);
      EXPECT_TRUE(bad.empty() || ReadBytes(place.Path(Wide(bad[0]))) == kInvalid);
    }
  }
}

// At the end the file on disk becomes the backup. It may be another than this store has read or
// written, and then it is judged first.
TEST_F(RecoveryTest, OnlyAGoodFileGoesOverTheBackupAtTheEnd) {
  for (int ways = 0; ways < 32; ++ways) {
    const bool isSettled = (ways & 1) != 0, isSaved = (ways & 2) != 0, isRenamed = (ways & 4) != 0,
               isGood = (ways & 8) != 0, isUnread = (ways & 16) != 0;
    SCOPED_TRACE("ways " + std::to_string(ways));
    WriteBytes(configFile, kGood);
    if (isSettled) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(Open(L"main.xml"));
    ASSERT_TRUE(!isSaved || Set(Alone(L"b")));
    std::string text = ReadBytes(configFile);
    text[isGood ? text.find("good") : text.rfind('<')] = '_';  // the size stays
    WriteBytes(isRenamed ? folder.Path(L"new") : configFile, text);
    if (isRenamed) std::filesystem::rename(folder.Root() / "new", folder.Root() / "main.xml");
    {
      const Mishap unread(isUnread ? Mishap::kFailOnward : Mishap::kNone, 1,
                          {{FaultPoint::kRead, "/main.xml", EIO}});
      store.reset();
    }
    EXPECT_EQ(ReadBytes(backup), isGood && !isUnread ? text : kGood);
    EXPECT_EQ(ReadBytes(configFile), text);
  }
}

// What another program writes between the judging and the copying was not judged.
TEST_F(RecoveryTest, WhatComesAfterTheReadingIsNotBackedUp) {
  static std::string main;
  static int opened;
  main = Narrow(configFile);
  for (const bool isClosing : {true, false}) {
    WriteBytes(configFile, isClosing ? kOther : kGood);
    opened = 0;
    g_FaultHook = [](Passage& passage) noexcept {
      if (passage.point == FaultPoint::kOpen && main == passage.path && ++opened == 2)
        WriteBytes(Wide(main), kInvalid);
      return false;
    };
    if (isClosing)
      store.reset();
    else
      EXPECT_TRUE(Open(L"main.xml"));
    g_FaultHook = nullptr;
    EXPECT_GE(opened, 2);
    EXPECT_NE(ReadBytes(backup), kInvalid);
  }
}

TEST_F(RecoveryTest, NeitherANullPathNorAnUninitialisedSchemaChangesAnything) {
  EXPECT_FALSE(store->Initialize(nullptr));
  EXPECT_EQ(NameOfA(), "good");
  option.Uninitialize();
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_EQ(ReadBytes(configFile), kGood);
}

// What leads to no text is no configuration, and no damage either: it stays as it is.
TEST_F(RecoveryTest, WhatIsNoFileIsLeftAlone) {
  store.reset();
  CCfgOption none;
  const std::filesystem::path main = folder.Root() / "main.xml";
  std::filesystem::remove(main);
  const std::function<void()> makers[] = {
      [&] { std::filesystem::create_directory(main); },
      [&] { ASSERT_EQ(::mkfifo(main.c_str(), 0600), 0); },
      [&] { std::filesystem::create_symlink("nothing.xml", main); },
      [&] { std::filesystem::create_symlink("main.xml", main); },
  };
  for (const std::function<void()>& make : makers) {
    make();
    const Names names = folder.Names();
    const auto type = std::filesystem::symlink_status(main).type();
    EXPECT_FALSE(Open(L"main.xml"));
    EXPECT_FALSE(CCfgConfigurationEx(none).Initialize(configFile.c_str()));
    EXPECT_EQ(folder.Names(), names);
    EXPECT_EQ(std::filesystem::symlink_status(main).type(), type);
    std::filesystem::remove(main);
  }
}

// A path without a dot gives no names for companions.
class PlainPathTest : public RecoveryTest {
 protected:
  PlainPathTest() { std::filesystem::create_directory(Narrow(directory)); }
  const std::wstring directory = folder.Path(L"plain");
  const std::wstring plain = directory + L"/main";
};

TEST_F(PlainPathTest, HasNoCompanions) {
  WriteBytes(plain, kGood);
  ASSERT_TRUE(Open(L"plain/main"));
  EXPECT_EQ(NameOfA(), "good");
  ASSERT_TRUE(Set(Alone(L"b")));
  store.reset();
  EXPECT_EQ(Layout(Wide(ReadBytes(plain))), "[P:a P:b]");
  const std::filesystem::directory_iterator files(Narrow(directory));
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

// A store that is pointed at another file leaves the one before alone, and never loads it instead.
TEST_F(PlainPathTest, LeavesTheEarlierFileAlone) {
  WriteBytes(configFile, kOther);  // newer than its backup
  EXPECT_FALSE(Open(L"plain/none"));
  EXPECT_EQ(ReadBytes(configFile), kOther);

  WriteBytes(folder.Path(L"bad.xml"), kInvalid);
  EXPECT_FALSE(Open(L"bad.xml"));
  WriteBytes(folder.Path(L"bad.xml"), kGood);
  EXPECT_FALSE(Open(L"missing.xml"));
  EXPECT_EQ(NameOfA(), "none");
}

// What became of the first file meanwhile must not get over its good backup.
TEST_F(PlainPathTest, LeavesTheEarlierBackupAlone) {
  WriteBytes(plain, kOther);
  WriteBytes(configFile, kInvalid);
  ASSERT_TRUE(Open(L"plain/main"));
  for (int commit = 1; commit <= 10; ++commit) ASSERT_TRUE(Set(Alone(L"b")));
  store.reset();
  EXPECT_EQ(ReadBytes(backup), kGood);
  EXPECT_FALSE(test::FileExists(folder.Path(L"main.tmp.xml")));
}

// The earlier names serve for bad files, but not the rights of the earlier file.
TEST_F(PlainPathTest, ABadFileIsNoMoreOpenThanTheFileOfThePathGivenLast) {
  WriteBytes(plain, kGood);
  std::filesystem::permissions(Narrow(plain), std::filesystem::perms::owner_read);
  CConfigFileSet set;
  ASSERT_TRUE(set.DeriveFileNames(configFile.c_str()));
  set.DeriveFileNames(plain.c_str());
  ASSERT_TRUE(set.WriteBadFile(L"text"));
  ASSERT_EQ(set.FindBadFiles().size(), 1U);
  EXPECT_EQ(std::filesystem::status(Narrow(set.FindBadFiles().front())).permissions(), kMineAlone);
}

TEST(QuarantineTest, AnInvalidDocumentInMemoryIsKeptAtTheEnd) {
  // Only the whole store breaks this rule; the instance by itself is valid.
  Sample sample({Item(L"P", L"a", L"<Name>good</Name>")}, SampleSchemaWith(kNamesDiffer));
  EXPECT_FALSE(sample.Set(Alone(L"b", L"<Name>good</Name>")));
  EXPECT_FALSE(sample.Set(Alone(L"c"))) << "a store that is invalid in memory refuses every commit";
  EXPECT_EQ(ReadBytes(sample.configFile), kGood);
  std::filesystem::permissions(Narrow(sample.configFile), std::filesystem::perms::owner_read);
  sample.store.reset();
  const Names bad = BadFiles(sample.folder);
  ASSERT_EQ(bad.size(), 1U);
  EXPECT_EQ(std::filesystem::status(sample.folder.Root() / bad[0]).permissions(), kMineAlone)
      << "what others may not read in the main file they may not read here";
  EXPECT_EQ(ReadBytes(sample.folder.Path(Wide(bad[0]))).substr(0, 8),
            std::string("<\0C\0o\0n\0", 8))
      << "UTF-16 without a mark";
  EXPECT_EQ(ReadBytes(sample.folder.Path(L"main.backup.xml")), kGood);
}

TEST_F(RecoveryTest, EveryTenthCommitKeepsTheFileOfTheOneBefore) {
  const std::wstring temp = folder.Path(L"main.tmp.xml");
  for (int commit = 1; commit <= 20; ++commit) {
    ASSERT_TRUE(commit != 5 || Open(L"main.xml"));  // the count goes on
    if (commit == 12) {
      ASSERT_TRUE(store->CopyConfiguration(L"a", L"a", true, nullptr, nullptr));
      commit += 2;  // it removes and writes
    }
    const std::string before = ReadBytes(configFile);
    ASSERT_TRUE(Set(Alone(L"a", L"<Name>" + std::to_wstring(commit) + L"</Name>")));
    EXPECT_TRUE(commit >= 10 || !test::FileExists(temp)) << commit;
    EXPECT_TRUE(commit % 10 != 0 || ReadBytes(temp) == before) << commit;
  }
}

TEST_F(RecoveryTest, CopiesOfAHandleAreOneStore) {
  CCfgConfigurationEx copy(*store);
  std::filesystem::remove(Narrow(backup));
  store.reset();
  EXPECT_FALSE(test::FileExists(backup)) << "not the last handle";
  OS::x_wstring xml;
  EXPECT_TRUE(copy.GetConfiguration(L"a", xml));
  copy = CCfgConfigurationEx(option);
  EXPECT_TRUE(test::FileExists(backup));
}

// On a fast disk many are made in a millisecond: main and backup of one store, and those of others
// under the same stem. It holds on every file system: one that cannot rename to a new name, and one
// that has no links either, say so in these calls.
TEST(ConfigFileSetTest, BadFilesOfOneMillisecondAreAllKept) {
  static int unknown;
  for (unknown = 0; unknown <= 2; ++unknown) {
    const Folder folder(Folder::Place::kMemory);
    g_FaultHook = [](Passage& passage) noexcept {
      return (unknown >= 1 && passage.point == FaultPoint::kRenameat2) ||
             (unknown >= 2 && passage.point == FaultPoint::kLink);
    };
    constexpr int kStores = 4;
    constexpr int kFiles = 50;
    const auto makeBadFiles = [&folder](const std::string& name) {
      CConfigFileSet set;
      set.DeriveFileNames(folder.Path(L"main.xml").c_str());
      const std::wstring source = folder.Path(Wide(name));
      for (int k = 0; k < kFiles; ++k) {
        WriteBytes(source, name + "/" + std::to_string(k));
        EXPECT_TRUE(k % 2 == 0 ? set.CopyToBadFile(source.c_str()) : set.WriteBadFile(L"x"));
      }
    };
    std::vector<std::jthread> threads;
    threads.reserve(kStores);
    for (int i = 0; i < kStores; ++i) threads.emplace_back(makeBadFiles, std::to_string(i));
    threads.clear();
    g_FaultHook = nullptr;
    std::map<std::string, int> found;
    for (const std::string& name : folder.Names()) {
      EXPECT_FALSE(name.starts_with(".")) << name;
      if (name.ends_with(".bad")) ++found[ReadBytes(folder.Path(Wide(name)))];
    }
    EXPECT_EQ(found[std::string("x\0", 2)], kStores * kFiles / 2);
    EXPECT_EQ(found.size(), 1U + kStores * kFiles / 2) << "way " << unknown;
  }
}

TEST(ConfigFileSetTest, DerivesNamesFromThePathUpToItsLastDot) {
  const std::wstring longest(248, L'x');
  const std::wstring tooLong(249, L'x');
  const struct {
    std::wstring path;
    std::wstring backup;  // empty when there are no names
  } cases[] = {
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
  for (const auto& c : cases) {
    CConfigFileSet set;
    EXPECT_EQ(set.DeriveFileNames(c.path.c_str()), !c.backup.empty()) << Narrow(c.path);
    EXPECT_EQ(set.GetBackupFile(), c.backup) << Narrow(c.path);
  }
  CConfigFileSet set;
  EXPECT_FALSE(set.DeriveFileNames(nullptr));
  ASSERT_TRUE(set.DeriveFileNames(L"a.xml"));
  EXPECT_TRUE(set.DeriveFileNames(L"plain")) << "an earlier path's names stay";
  EXPECT_EQ(set.GetBackupFile(), L"a.backup.xml");
  EXPECT_FALSE(set.HasCompanions());
}

}  // namespace
