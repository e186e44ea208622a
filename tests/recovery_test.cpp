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

// A schema, and files that a store is to be opened over.
class RecoveryTest : public testing::Test {
 protected:
  RecoveryTest() {
    WriteBytes(folder.Path(L"s.xsd"), kSampleSchema);
    EXPECT_TRUE(option.Initialize(folder.Path(L"s.xsd").c_str()));
  }
  bool Open(const std::wstring& name) { return store.Initialize(folder.Path(name).c_str()); }
  bool Set(const std::wstring& xml) {
    return store.SetConfiguration(xml.c_str(), nullptr, nullptr);
  }
  void CloseStore() { store = CCfgConfigurationEx(option); }
  std::string NameOf(const std::wstring& id) {
    OS::x_wstring xml;
    store.GetConfiguration(id.c_str(), xml);
    return TextOf(CCfgInstance(xml, option), L"Name");
  }
  static std::vector<std::string> BadFiles(const Folder& folder) {
    std::vector<std::string> names = folder.Names();
    std::erase_if(names, [](const std::string& name) { return !name.ends_with(".bad"); });
    return names;
  }
  std::vector<std::string> BadFiles() const { return BadFiles(folder); }

  Folder folder;
  CCfgOption option;
  CCfgConfigurationEx store{option};
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
  for (const auto& [main, backup, opens, after, bad] : cases) {
    SCOPED_TRACE(main.value_or("missing"));
    const Folder place(Folder::Place::kMemory);
    const std::wstring path = place.Path(L"main.xml");
    if (main) WriteBytes(path, *main);
    if (backup) WriteBytes(place.Path(L"main.backup.xml"), *backup);
    WriteBytes(place.Path(L".cfgex-new"), "remains of a crash");
    EXPECT_EQ(store.Initialize(path.c_str()), opens);
    EXPECT_EQ(ReadBytes(path), after);
    EXPECT_EQ(NameOf(L"a"), !opens ? "none" : after == kGood ? "good" : "other");
    const std::vector<std::string> aside = BadFiles(place);
    EXPECT_EQ(aside.size(), bad);
    EXPECT_TRUE(bad != 1 || ReadBytes(place.Path(Wide(aside[0]))) == main);
    EXPECT_EQ(test::FileExists(place.Path(L".cfgex-new")), bad == 0);
    EXPECT_TRUE(!opens || ReadBytes(place.Path(L"main.backup.xml")) == after);
    EXPECT_EQ(store.Initialize(path.c_str()), opens || !main) << "a missing file takes two tries";
    CloseStore();
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

TEST_F(RecoveryTest, ABadFileIsKeptOnce) {
  const auto findBad = [&](const std::string& main, const char* backup) {
    WriteBytes(folder.Path(L"main.xml"), main);
    if (backup != nullptr) WriteBytes(folder.Path(L"main.backup.xml"), backup);
    EXPECT_FALSE(Open(L"main.xml"));
    EXPECT_FALSE(Open(L"main.xml"));
    return BadFiles().size();
  };
  EXPECT_EQ(findBad(kInvalid, nullptr), 1U);
  EXPECT_EQ(findBad(kInvalid, "<Bad/>"), 2U) << "the backup is one more";
  EXPECT_EQ(findBad(kInvalid, "<Bad/>"), 4U) << "neither is the newest any more";
}

// Where a damaged file cannot be copied it gets a second name, or goes to one, and stays in its
// place if that cannot be either. It is never lost.
TEST_F(RecoveryTest, ADamagedFileIsNotReplacedBeforeItIsSafe) {
  using Calls = std::vector<std::pair<FaultPoint, std::string>>;  // and the end of a name
  static Calls failing;
  const Calls noCopy = {{FaultPoint::kOpen, "/.cfgex-new"}};
  const Calls noLink = {{FaultPoint::kOpen, "/.cfgex-new"}, {FaultPoint::kLink, ""}};
  const Calls noRestore = {{FaultPoint::kOpen, ".cfgex-new"}, {FaultPoint::kLink, ""}};
  const Calls noMove = {
      {FaultPoint::kOpen, "/.cfgex-new"}, {FaultPoint::kLink, ""}, {FaultPoint::kRenameat2, ""}};
  struct Row {
    const char* name;
    Calls failing;
    bool hasBackup;
    bool opens;
  } const rows[] = {
      {"no copy", noCopy, true, true},          {"no copy, no backup", noCopy, false, false},
      {"no link", noLink, true, true},          {"no link, no backup", noLink, false, false},
      {"no restoring", noRestore, true, false}, {"nothing", noMove, true, false},
  };
  for (const bool isLink : {false, true}) {
    for (const Row& row : rows) {
      SCOPED_TRACE(std::string(row.name) + (isLink ? ", through a link" : ""));
      const Folder place(Folder::Place::kMemory);
      if (isLink) std::filesystem::create_symlink("real", place.Root() / "main.xml");
      WriteBytes(place.Path(L"main.xml"), kInvalid);
      if (row.hasBackup) WriteBytes(place.Path(L"main.backup.xml"), kGood);
      failing = row.failing;
      g_FaultHook = [](Passage& passage) noexcept {
        passage.error = ENOSPC;
        return std::any_of(failing.begin(), failing.end(), [&](const auto& call) {
          return passage.point == call.first && std::string(passage.path).ends_with(call.second);
        });
      };
      EXPECT_EQ(store.Initialize(place.Path(L"main.xml").c_str()), row.opens);
      g_FaultHook = nullptr;
      EXPECT_EQ(ReadBytes(place.Path(L"main.xml")), row.opens ? kGood : kInvalid);
      EXPECT_EQ(std::filesystem::is_symlink(place.Root() / "main.xml"), isLink);
      const std::vector<std::string> bad = BadFiles(place);
      EXPECT_TRUE(!bad.empty() || !row.opens);
      EXPECT_TRUE(bad.empty() || ReadBytes(place.Path(Wide(bad[0]))) == kInvalid);
    }
  }
}

// At the end the file on disk becomes the backup. It may be another than this store has read or
// written, and then it is judged first.
TEST_F(RecoveryTest, OnlyAGoodFileGoesOverTheBackupAtTheEnd) {
  const std::wstring main = folder.Path(L"main.xml");
  const std::wstring backup = folder.Path(L"main.backup.xml");
  for (int ways = 0; ways < 32; ++ways) {
    const bool isSettled = (ways & 1) != 0, isSaved = (ways & 2) != 0, isRenamed = (ways & 4) != 0,
               isGood = (ways & 8) != 0, isUnread = (ways & 16) != 0;
    SCOPED_TRACE("ways " + std::to_string(ways));
    WriteBytes(main, kGood);
    if (isSettled) std::this_thread::sleep_for(std::chrono::milliseconds(20));
    ASSERT_TRUE(Open(L"main.xml"));
    ASSERT_TRUE(!isSaved || Set(Alone(L"b")));
    std::string text = ReadBytes(main);
    text[isGood ? text.find("good") : text.rfind('<')] = '_';  // the size stays
    WriteBytes(isRenamed ? folder.Path(L"new") : main, text);
    if (isRenamed) std::filesystem::rename(folder.Root() / "new", folder.Root() / "main.xml");
    {
      std::optional<Mishap> unread;
      if (isUnread) unread.emplace(Mishap::Calls{FaultPoint::kRead, Narrow(main), EIO}, 0);
      CloseStore();
    }
    EXPECT_EQ(ReadBytes(backup), isGood && !isUnread ? text : kGood);
    EXPECT_EQ(ReadBytes(main), text);
  }
}

// What another program writes between the judging and the copying was not judged.
TEST_F(RecoveryTest, WhatComesAfterTheReadingIsNotBackedUp) {
  static std::string main;
  static int opened;
  main = Narrow(folder.Path(L"main.xml"));
  for (const bool isClosing : {false, true}) {
    WriteBytes(Wide(main), kGood);
    ASSERT_TRUE(!isClosing || Open(L"main.xml"));
    opened = 0;
    g_FaultHook = [](Passage& passage) noexcept {
      if (passage.point == FaultPoint::kOpen && main == passage.path && ++opened == 2)
        WriteBytes(Wide(main), kInvalid);
      return false;
    };
    if (isClosing) {
      WriteBytes(Wide(main), kOther);
      CloseStore();
    } else {
      EXPECT_TRUE(Open(L"main.xml"));
    }
    g_FaultHook = nullptr;
    EXPECT_GE(opened, 2);
    EXPECT_NE(ReadBytes(folder.Path(L"main.backup.xml")), kInvalid);
  }
}

TEST_F(RecoveryTest, NeitherANullPathNorAnUninitialisedSchemaChangesAnything) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_FALSE(store.Initialize(nullptr));
  EXPECT_EQ(NameOf(L"a"), "good");
  option.Uninitialize();
  EXPECT_FALSE(Open(L"main.xml"));
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kGood);
}

// What leads to no text is no configuration, and no damage either: it stays as it is.
TEST_F(RecoveryTest, WhatIsNoFileIsLeftAlone) {
  WriteBytes(folder.Path(L"main.backup.xml"), kGood);
  CCfgOption none;
  CCfgConfigurationEx withoutSchema(none);
  const std::filesystem::path main = folder.Root() / "main.xml";
  const std::function<void()> makers[] = {
      [&] { std::filesystem::create_directory(main); },
      [&] { ASSERT_EQ(::mkfifo(main.c_str(), 0600), 0); },
      [&] { std::filesystem::create_symlink("nothing.xml", main); },
      [&] { std::filesystem::create_symlink("main.xml", main); },
  };
  for (const std::function<void()>& make : makers) {
    make();
    const auto names = folder.Names();
    const auto type = std::filesystem::symlink_status(main).type();
    EXPECT_FALSE(Open(L"main.xml"));
    EXPECT_FALSE(withoutSchema.Initialize(folder.Path(L"main.xml").c_str()));
    EXPECT_EQ(folder.Names(), names);
    EXPECT_EQ(std::filesystem::symlink_status(main).type(), type);
    std::filesystem::remove(main);
  }
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
  ASSERT_TRUE(Set(Alone(L"b")));
  CloseStore();
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
  for (int commit = 1; commit <= 10; ++commit) ASSERT_TRUE(Set(Alone(L"b")));
  CloseStore();
  EXPECT_EQ(ReadBytes(folder.Path(L"main.backup.xml")), kGood);
  EXPECT_FALSE(test::FileExists(folder.Path(L"main.tmp.xml")));
}

TEST_F(RecoveryTest, AnInvalidDocumentInMemoryIsQuarantinedAtTheEnd) {
  // Only the whole store breaks this rule; the instance by itself is valid.
  WriteBytes(folder.Path(L"u.xsd"), SampleSchemaWith(kNamesDiffer));
  CCfgOption strict;
  ASSERT_TRUE(strict.Initialize(folder.Path(L"u.xsd").c_str()));
  store = CCfgConfigurationEx(strict);
  WriteBytes(folder.Path(L"main.xml"), kGood);
  ASSERT_TRUE(Open(L"main.xml"));
  EXPECT_FALSE(Set(Alone(L"b", L"<Name>good</Name>")));
  EXPECT_FALSE(Set(Alone(L"c"))) << "a store that is invalid in memory refuses every commit";
  EXPECT_EQ(ReadBytes(folder.Path(L"main.xml")), kGood);
  std::filesystem::permissions(folder.Root() / "main.xml", std::filesystem::perms::owner_read);
  CloseStore();
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
    ASSERT_TRUE(commit != 5 || Open(L"main.xml"));  // the count goes on
    const std::string before = ReadBytes(folder.Path(L"main.xml"));
    ASSERT_TRUE(Set(Alone(L"a", L"<Name>" + std::to_wstring(commit) + L"</Name>")));
    EXPECT_TRUE(commit >= 10 || !test::FileExists(temp)) << commit;
    EXPECT_TRUE(commit % 10 != 0 || ReadBytes(temp) == before) << commit;
  }
}

TEST_F(RecoveryTest, CopiesOfAHandleAreOneStore) {
  WriteBytes(folder.Path(L"main.xml"), kGood);
  CCfgConfigurationEx copy(store);
  ASSERT_TRUE(Open(L"main.xml"));
  std::filesystem::remove(Narrow(folder.Path(L"main.backup.xml")));
  CloseStore();
  EXPECT_FALSE(test::FileExists(folder.Path(L"main.backup.xml"))) << "not the last handle";
  OS::x_wstring xml;
  EXPECT_TRUE(copy.GetConfiguration(L"a", xml));
  copy = CCfgConfigurationEx(option);
  EXPECT_TRUE(test::FileExists(folder.Path(L"main.backup.xml")));
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
    {
      std::vector<std::jthread> threads;
      for (int i = 0; i < kStores; ++i) {
        threads.emplace_back([&folder, i] {
          CConfigFileSet set;
          set.DeriveFileNames(folder.Path(L"main.xml").c_str());
          const std::wstring source = folder.Path(std::to_wstring(i));
          for (int k = 0; k < kFiles; ++k) {
            WriteBytes(source, std::to_string(i) + "/" + std::to_string(k));
            EXPECT_TRUE(k % 2 == 0 ? set.CopyToBadFile(source.c_str()) : set.WriteBadFile(L"x"));
          }
        });
      }
    }
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

// A path without names uses the earlier one's for bad files, but not the rights of its file.
TEST(ConfigFileSetTest, ABadFileIsNoMoreOpenThanTheFileOfThePathGivenLast) {
  const Folder folder;
  std::filesystem::create_directory(folder.Root() / "plain");
  WriteBytes(folder.Path(L"main.xml"), kGood);
  WriteBytes(folder.Path(L"plain/main"), kGood);
  std::filesystem::permissions(folder.Root() / "plain/main", std::filesystem::perms::owner_read);
  CConfigFileSet set;
  ASSERT_TRUE(set.DeriveFileNames(folder.Path(L"main.xml").c_str()));
  set.DeriveFileNames(folder.Path(L"plain/main").c_str());
  ASSERT_TRUE(set.WriteBadFile(L"text"));
  ASSERT_EQ(set.FindBadFiles().size(), 1U);
  EXPECT_EQ(std::filesystem::status(Narrow(set.FindBadFiles().front())).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

}  // namespace
