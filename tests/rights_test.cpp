// Who can read a configuration file and its companions, tried by reading them as somebody else.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/posix_acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <ostream>

#include "platform/os/file.h"
#include "src/frame.h"
#include "tests/support/sample.h"

namespace {

using namespace test;

constexpr const char* kAccess = "system.posix_acl_access";
constexpr const char* kDefault = "system.posix_acl_default";

struct Entry {
  std::uint16_t tag;
  std::uint16_t bits;
  std::uint32_t id = ~0U;
};
using List = std::vector<Entry>;

std::string Blob(const List& list) {
  std::string blob("\2\0\0\0", 4);
  for (const Entry& entry : list) blob.append(reinterpret_cast<const char*>(&entry), sizeof entry);
  return blob;
}

struct Somebody {
  uid_t user;
  gid_t group;
};
constexpr Somebody kOwner{1001, 1001}, kMember{1002, 2001}, kNamed{1003, 1003},
    kStranger{1004, 1004}, kRoot{0, 0};
constexpr Somebody kReaders[] = {kOwner, kMember, kNamed, kStranger, {1005, 0}};

bool DoneAs(const Somebody& who, const std::function<bool()>& body) {
  return who.user == 0 ? body() : test::DoneAs(who.user, who.group, body);
}

// Who of kReaders can read the file, a letter for each.
std::string ReadersOf(const std::wstring& path) {
  std::string readers;
  for (const Somebody& who : kReaders) {
    const bool can = DoneAs(who, [&] { return ::open(Narrow(path).c_str(), O_RDONLY) >= 0; });
    readers += can ? 'r' : '-';
  }
  return readers;
}

bool IsWithin(const std::string& readers, const std::string& others) {
  return std::equal(readers.begin(), readers.end(), others.begin(),
                    [](char a, char b) { return a == '-' || b == 'r'; });
}

struct Situation {
  const char* name;
  mode_t mode;
  List list = {};
  List ofFolder = {};  // its default list
  mode_t later = 0;    // what an administrator sets the mode to
  Somebody writer = kRoot;
};

void PrintTo(const Situation& situation, std::ostream* out) { *out << situation.name; }

const List kOpenFolder = {
    {ACL_USER_OBJ, 7}, {ACL_USER, 7, 1003}, {ACL_GROUP_OBJ, 7}, {ACL_MASK, 7}, {ACL_OTHER, 5}};
const List kLetsIn = {
    {ACL_USER_OBJ, 6}, {ACL_USER, 6, 1003}, {ACL_GROUP_OBJ, 4}, {ACL_MASK, 6}, {ACL_OTHER, 0}};
const List kGroupOut = {
    {ACL_USER_OBJ, 6}, {ACL_USER, 4, 1003}, {ACL_GROUP_OBJ, 0}, {ACL_MASK, 4}, {ACL_OTHER, 0}};
const List kUserOut = {
    {ACL_USER_OBJ, 6}, {ACL_USER, 0, 1003}, {ACL_GROUP_OBJ, 4}, {ACL_MASK, 4}, {ACL_OTHER, 4}};
const Situation kSituations[] = {
    {"Group", 0640},
    {"OthersButNotTheGroup", 0604},
    {"ListLetsIn", 0, kLetsIn},
    {"ListKeepsTheGroupOut", 0, kGroupOut},
    {"ListKeepsAUserOut", 0, kUserOut},
    {"FolderIsOpen", 0600, {}, kOpenFolder},
    {"FolderIsOpenAndListIsNot", 0, kGroupOut, kOpenFolder},
    {"ModeIsNarrowedLater", 0644, {}, {}, 0600},
    {"MaskIsNarrowedLater", 0, kLetsIn, kOpenFolder, 0600},
    {"WriterIsNamed", 0, kLetsIn, {}, 0, kNamed},
    {"WriterIsAStranger", 0606, {}, {}, 0, kStranger},
    {"WriterIsAMember", 0660, {}, kOpenFolder, 0, kMember},
};

class RightsTest : public testing::TestWithParam<Situation>, protected Sample {
 protected:
  RightsTest() : Sample({Item(L"P", L"a")}) { store.reset(); }
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
    ::chmod(folder.Root().c_str(), 0777);
    Give(folder.Path(L"main.backup.xml"), kStranger, 0666);  // of a time when all was open
    Give(main, {kOwner.user, kMember.group}, GetParam().mode);
    hasAttributes = SetAttribute(main, "user.note", "kept");
    const auto& [name, mode, list, ofFolder, later, writer] = GetParam();
    if ((!list.empty() && !SetAttribute(main, kAccess, Blob(list))) ||
        (!ofFolder.empty() && !SetAttribute(folder.Path(L""), kDefault, Blob(ofFolder)))) {
      GTEST_SKIP() << "the temporary directory's file system takes no access lists";
    }
  }
  static void Give(const std::wstring& path, const Somebody& owner, mode_t mode) {
    ASSERT_EQ(::chown(Narrow(path).c_str(), owner.user, owner.group), 0);
    ASSERT_EQ(::chmod(Narrow(path).c_str(), mode), 0);
  }
  static bool SetAttribute(const std::wstring& path, const char* name, const std::string& value) {
    return ::setxattr(Narrow(path).c_str(), name, value.data(), value.size(), 0) == 0;
  }
  static std::string Attribute(const std::wstring& path, const char* name) {
    std::string value(1000, '\0');
    const ssize_t size = ::getxattr(Narrow(path).c_str(), name, value.data(), value.size());
    return value.substr(0, size > 0 ? static_cast<std::size_t>(size) : 0);
  }
  // Opens, changes and saves, with a backup and a snapshot made on the way.
  bool UseStore() {
    return DoneAs(GetParam().writer, [this] {
      Reopen();
      bool done = true;
      for (int commit = 0; commit < 10; ++commit) done = done && Set(Alone(L"b"));
      store.reset();
      return done;
    });
  }
  void CheckAll(const std::string& allowed) const {
    const std::string readers = ReadersOf(main);
    const bool isKept = GetParam().writer.user == 0;
    EXPECT_TRUE(isKept ? readers == allowed : IsWithin(readers, allowed)) << readers;
    for (const std::string& name : folder.Names()) {
      if (name.ends_with(".xsd")) continue;
      const std::string found = ReadersOf(folder.Path(Wide(name)));
      EXPECT_TRUE(IsWithin(found, allowed)) << name << ": " << found << ", not " << allowed;
    }
    EXPECT_EQ(Attribute(main, "user.note"), hasAttributes ? "kept" : "");
  }

  const std::wstring main = configFile;
  bool hasAttributes = false;
};

TEST_P(RightsTest, NobodyReadsMoreThanTheMainFile) {
  const std::string allowed = ReadersOf(main);
  const std::string list = Attribute(main, kAccess);
  ASSERT_TRUE(UseStore());
  CheckAll(allowed);
  EXPECT_TRUE(GetParam().writer.user != 0 || Attribute(main, kAccess) == list);

  if (GetParam().later != 0) ::chmod(Narrow(main).c_str(), GetParam().later);
  const std::string now = ReadersOf(main);
  EXPECT_TRUE(IsWithin(now, allowed));
  ASSERT_TRUE(UseStore());
  CheckAll(now);

  WriteBytes(main, "damaged");
  ASSERT_TRUE(UseStore());
  EXPECT_EQ(folder.Names().size(), 5U) << "with a bad file";
  CheckAll(now);
}

// No failing call opens a file, nor does a list that the file system does not take.
TEST_P(RightsTest, NorWhereACallFails) {
  const std::string content = ReadBytes(main);
  const std::string allowed = ReadersOf(main);
  using enum FaultPoint;
  for (const auto call : {kFsetxattr, kFremovexattr, kFgetxattr, kFlistxattr, kFchown, kFchmod,
                          kFstat, kOpen, kRead}) {
    for (int nth = 1; nth <= 4; ++nth) {
      SCOPED_TRACE(std::string(NameOf(call)) + " " + std::to_string(nth));
      const auto attempt = [&](const std::function<void()>& body) {
        DoneAs(GetParam().writer, [&] {
          const FailCall fail(call, nth, true);
          Guarded(body);
          return true;
        });
      };
      attempt([&] { OS::CopyFileW(main, folder.Path(L"new"), false); });
      EXPECT_TRUE(ReadBytes(folder.Path(L"new")).empty() ||
                  IsWithin(ReadersOf(folder.Path(L"new")), allowed));
      ::unlink(Narrow(folder.Path(L"new")).c_str());
      attempt([&] { ReplaceFile(main, content); });
      EXPECT_TRUE(IsWithin(ReadersOf(main), allowed)) << ReadersOf(main);
      if (HasFailure()) return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Situations, RightsTest, testing::ValuesIn(kSituations),
                         [](const auto& situation) { return std::string(situation.param.name); });

}  // namespace
