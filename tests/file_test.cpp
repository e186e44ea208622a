#include "platform/os/file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

#include "cfgex/com_error.h"
#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;
using test::Folder;
using test::Narrow;
using test::ReadBytes;
using test::WriteBytes;
using Names = std::vector<std::string>;

struct stat StatusOf(const std::wstring& path) {
  struct stat status {};
  EXPECT_EQ(::stat(Narrow(path).c_str(), &status), 0) << Narrow(path);
  return status;
}

mode_t ModeOf(const std::wstring& path) { return StatusOf(path).st_mode & 07777; }

void SetMode(const std::wstring& path, mode_t mode) { ::chmod(Narrow(path).c_str(), mode); }

bool Replaced(const std::wstring& path, std::string_view content) {
  try {
    ReplaceFile(path, content);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

// Whether `body` is done by nobody, the folder having the permissions `mode`.
bool AsOrdinaryUser(const Folder& folder, mode_t mode, const std::function<bool()>& body) {
  ::chmod(folder.Root().c_str(), mode);
  return test::DoneAs(65534, 65534, body);
}

TEST(FileTest, ContentIsReplacedAndReadBackWhole) {
  const Folder folder;
  const std::wstring path = folder.Path(L"größe \u4E2D.xml");
  std::string read = "unchanged";
  EXPECT_EQ(ReadWholeFile(path, read), Reading::kMissing);
  EXPECT_EQ(read, "unchanged");
  for (const std::size_t size : {3u, 300000u, 0u, 4096u}) {
    const std::string content(size, static_cast<char>('a' + size % 7));
    ReplaceFile(path, content);
    ASSERT_EQ(ReadWholeFile(path, read), Reading::kDone);
    EXPECT_EQ(read, content);
    ASSERT_TRUE(OS::CopyFileW(path, folder.Path(L"copy"), false));
    EXPECT_EQ(ReadBytes(folder.Path(L"copy")), content);
  }
  EXPECT_FALSE(OS::CopyFileW(path, folder.Path(L"copy"), true));
  fs::remove(folder.Root() / "copy");
  EXPECT_TRUE(OS::CopyFileW(path, folder.Path(L"copy"), true));
  EXPECT_EQ(folder.Names(), (Names{"copy", "größe \u4E2D.xml"}));
  // A file that tells no size.
  EXPECT_EQ(ReadWholeFile(L"/proc/self/status", read), Reading::kDone);
  EXPECT_GT(read.size(), 100U);
}

TEST(FileTest, PermissionsAndOwnerStayAndNewFilesFollowTheUmask) {
  const Folder folder;
  const std::wstring path = folder.Path(L"a"), copy = folder.Path(L"b");
  const mode_t umask = ::umask(027);
  ReplaceFile(path, "1");
  EXPECT_EQ(ModeOf(path), 0640u);
  SetMode(path, 04606);
  const bool owned = ::chown(Narrow(path).c_str(), 1234, 4321) == 0;  // takes root
  SetMode(path, 04606);
  ReplaceFile(path, "2");
  EXPECT_EQ(ModeOf(path), 04606u);
  EXPECT_EQ(StatusOf(path).st_uid, owned ? 1234u : ::geteuid());
  EXPECT_EQ(StatusOf(path).st_gid, owned ? 4321u : ::getegid());
  // A copy is made no more public than its source, and its owner can replace it.
  SetMode(path, 0466);
  EXPECT_TRUE(OS::CopyFileW(path, copy, false));
  EXPECT_EQ(ModeOf(copy), 0640u);
  SetMode(copy, 0600);
  EXPECT_TRUE(OS::CopyFileW(path, copy, false));
  EXPECT_EQ(ModeOf(copy), 0600u);
  ::umask(umask);
}

TEST(FileTest, LinksKeepPointingAtTheFileThatIsReplaced) {
  const Folder folder;
  fs::create_directory(folder.Root() / "real");
  fs::create_symlink("real/../real/file", folder.Root() / "relative");
  fs::create_symlink(folder.Root() / "relative", folder.Root() / "absolute");
  fs::create_symlink("loop", folder.Root() / "loop");
  for (const wchar_t* link : {L"absolute", L"relative"}) {  // dangling at first
    ReplaceFile(folder.Path(link), Narrow(link));
    EXPECT_EQ(ReadBytes(folder.Path(L"real/file")), Narrow(link));
    EXPECT_TRUE(fs::is_symlink(fs::symlink_status(Narrow(folder.Path(link)))));
  }
  EXPECT_FALSE(Replaced(folder.Path(L"loop"), "x"));
  EXPECT_EQ(folder.Names(), (Names{"absolute", "loop", "real", "relative"}));
  // A file copied to itself, by whatever name, is not touched.
  EXPECT_TRUE(OS::CopyFileW(folder.Path(L"absolute"), folder.Path(L"real/file"), false));
  EXPECT_FALSE(OS::CopyFileW(folder.Path(L"absolute"), folder.Path(L"real/file"), true));
  EXPECT_EQ(ReadBytes(folder.Path(L"real/file")), "relative");
}

TEST(FileTest, WhatIsNoRegularFileIsRefusedWithoutWaiting) {
  const Folder folder;
  WriteBytes(folder.Path(L"file"), "old");
  ASSERT_EQ(::mkfifo((folder.Root() / "fifo").c_str(), 0600), 0);
  fs::create_directory(folder.Root() / "directory");
  fs::create_symlink("/dev/zero", folder.Root() / "device");
  std::string content = "unchanged";
  for (const std::wstring& path :
       {folder.Path(L"fifo"), folder.Path(L"directory"), folder.Path(L"device"),
        folder.Path(L"new/"), folder.Path(L"file/x"), folder.Path(L"none/x"), folder.Path(L"."),
        std::wstring(), folder.Path(std::wstring(256, L'x')),
        folder.Path(std::wstring_view(L"a\0b", 3)), folder.Path(L"\xD800")}) {
    SCOPED_TRACE(testing::PrintToString(path));
    EXPECT_NE(ReadWholeFile(path, content), Reading::kDone);
    EXPECT_FALSE(Replaced(path, "new"));
    EXPECT_FALSE(OS::CopyFileW(path, folder.Path(L"file"), false));
    EXPECT_FALSE(OS::CopyFileW(folder.Path(L"file"), path, false));
  }
  EXPECT_EQ(content, "unchanged");
  EXPECT_EQ(ReadBytes(folder.Path(L"file")), "old");
  EXPECT_EQ(folder.Names(), (Names{"device", "directory", "fifo", "file"}));
}

TEST(FileTest, AFailureNamesCallPathAndReason) {
  const Folder folder;
  const test::FailCall fail(FaultPoint::kWrite, 1);
  try {
    ReplaceFile(folder.Path(L"file"), "new");
    ADD_FAILURE();
  } catch (const _com_error& error) {
    EXPECT_EQ(error.Error(), _com_error::kWriteFault);
    for (const char* part : {"write", folder.Root().c_str(), "No space left"})
      EXPECT_NE(std::string(error.what()).find(part), std::string::npos) << error.what();
  }
}

TEST(FileTest, ACallThatKeepsFailingLeavesNoMoreThanOneNewFile) {
  const Folder folder;
  using enum FaultPoint;
  for (const auto call : {kFstat, kLstat, kUnlink, kFlock}) {
    WriteBytes(folder.Path(L".file.cfgex-new"), "remains");
    {
      const test::FailCall fail(call, 1, true);
      for (int i = 0; i < 5; ++i) Replaced(folder.Path(L"file"), "new");
    }
    std::vector<std::string> names = folder.Names();
    std::erase(names, "file");
    EXPECT_LE(names.size(), 1U) << NameOf(call);
    EXPECT_TRUE(Replaced(folder.Path(L"file"), "new"));
    EXPECT_EQ(folder.Names(), Names{"file"}) << NameOf(call);
  }
}

TEST(FileTest, DiskThatIsFullHalfwayLeavesTheOldContent) {
  const Folder folder;
  WriteBytes(folder.Path(L"file"), "old");
  const bool isReplaced = test::DoneAs(::geteuid(), ::getegid(), [&] {
    const rlimit limit{8192, 8192};
    ::signal(SIGXFSZ, SIG_IGN);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    return Replaced(folder.Path(L"file"), std::string(20000, 'n'));  // short, then not at all
  });
  EXPECT_FALSE(isReplaced);
  EXPECT_EQ(ReadBytes(folder.Path(L"file")), "old");
  EXPECT_EQ(folder.Names(), Names{"file"});
}

TEST(FileTest, FilesOfLiveWritersAreNotRemoved) {
  const Folder folder;
  WriteBytes(folder.Path(L".file.cfgex-new"), "in work");
  const int writer = ::open(Narrow(folder.Path(L".file.cfgex-new")).c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(writer, LOCK_EX | LOCK_NB), 0);
  ReplaceFile(folder.Path(L"file"), "1");
  EXPECT_EQ(ReadBytes(folder.Path(L"file")), "1");
  EXPECT_EQ(ReadBytes(folder.Path(L".file.cfgex-new")), "in work");
  ::close(writer);
  ReplaceFile(folder.Path(L"file"), "2");
  EXPECT_EQ(folder.Names(), Names{"file"}) << "what nobody has locked is the remains of a crash";

  const std::wstring longest(127, L'ü');  // 254 bytes
  ReplaceFile(folder.Path(longest), "new");
  ReplaceFile(folder.Path(longest), "newer");
  EXPECT_EQ(ReadBytes(folder.Path(longest)), "newer");
  EXPECT_EQ(folder.Names().size(), 2u);
}

TEST(FileTest, WritersOfOneTargetEachLeaveAWholeFile) {
  const Folder folder;
  const std::wstring path = folder.Path(L"file");
  const auto write = [&path](char letter) {
    bool good = true;
    for (std::size_t i = 0; i < 60; ++i) {
      good = Replaced(path, std::string(20000 + i, letter)) && good;
      std::string seen;
      good = ReadWholeFile(path, seen) == Reading::kDone && seen.size() >= 20000 &&
             seen.find_first_not_of(seen.front()) == std::string::npos && good;
    }
    return good;
  };
  const pid_t child = ::fork();
  if (child == 0) ::_exit(write('p') ? 0 : 1);
  bool good[3] = {};
  {
    std::jthread a([&] { good[0] = write('a'); }), b([&] { good[1] = write('b'); });
    good[2] = write('c');
  }
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_TRUE(good[0] && good[1] && good[2]);
  EXPECT_EQ(folder.Names(), Names{"file"});
}

TEST(FileTest, TargetIsWrittenInPlaceWhereTheDirectoryTakesNoFile) {
  const Folder folder;
  const std::wstring path = folder.Path(L"file"), closed = folder.Path(L"closed"),
                     source = folder.Path(L"source");
  WriteBytes(path, std::string(5000, 'o'));
  WriteBytes(closed, "old");
  WriteBytes(source, "copied");
  SetMode(path, 0666);
  SetMode(closed, 0444);
  SetMode(source, 0644);
  const ino_t inode = StatusOf(path).st_ino;
  EXPECT_TRUE(AsOrdinaryUser(folder, 0555, [&] { return Replaced(path, "new"); }));
  EXPECT_EQ(ReadBytes(path), "new");
  EXPECT_TRUE(AsOrdinaryUser(folder, 0555, [&] { return OS::CopyFileW(source, path, false); }));
  EXPECT_EQ(ReadBytes(path), "copied");
  EXPECT_EQ(StatusOf(path).st_ino, inode);
  // Not one that has another name, under which somebody keeps what it holds.
  fs::create_hard_link(Narrow(path), folder.Root() / "linked");
  EXPECT_FALSE(AsOrdinaryUser(folder, 0555, [&] { return Replaced(path, "new"); }));
  EXPECT_EQ(ReadBytes(path), "copied");
  fs::remove(folder.Root() / "linked");
  EXPECT_FALSE(AsOrdinaryUser(folder, 0555, [&] { return Replaced(folder.Path(L"none"), "new"); }));
  // One that a copy would open to more than its source has is narrowed, or left alone.
  SetMode(source, 0600);
  const auto copy = [&] { return OS::CopyFileW(source, path, false); };
  for (const auto& [owner, narrowed] : {std::pair{0u, false}, std::pair{65534u, true}}) {
    if (::geteuid() != 0) break;
    ASSERT_EQ(::chown(Narrow(path).c_str(), owner, owner), 0);
    ASSERT_EQ(::chown(Narrow(source).c_str(), 65534, 65534), 0);
    EXPECT_EQ(AsOrdinaryUser(folder, 0555, copy), narrowed);
    EXPECT_EQ(ModeOf(path), narrowed ? 0622u : 0666u);
  }
  SetMode(path, 0666);
  // A target that may not be written is not replaced either.
  for (const mode_t mode : {0555u, 0777u}) {
    EXPECT_FALSE(AsOrdinaryUser(folder, mode, [&] { return Replaced(closed, "new"); }));
  }
  EXPECT_TRUE(AsOrdinaryUser(folder, 0777, [&] { return Replaced(path, "replaced"); }));
  EXPECT_NE(StatusOf(path).st_ino, inode);
  EXPECT_EQ(ModeOf(path), 0666u);
  EXPECT_EQ(ReadBytes(closed), "old");
  EXPECT_EQ(folder.Names(), (Names{"closed", "file", "source"}));
}

}  // namespace
