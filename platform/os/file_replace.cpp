// How the content of a file is replaced.
//
// A temporary file is `.NAME.cfgex-new` beside the target NAME, or `.NAME.cfgex-new-1` and so on
// while other writers are at work. Targets that are named by number share one NAME, so that remains
// of any of them are found.
//
// 1. A temporary file belongs to the writer that holds the lock (flock) on the file at its path.
//    Only that writer writes, renames or removes it. The lock outlives the descriptor that is
//    written and closed, and ends with the rename or removal.
// 2. A temporary file that nobody has locked is the remains of a crash (or was made a moment ago
//    by a writer that has yet to lock it, and finds out that it lost it). The next writer removes
//    it.
// 3. The target's name always leads to a whole file: the old one until the rename, then the new.
//
// Steps: look at the target, make the temporary file, which is its maker's alone, fill it, give it
// its rights, flush, close, rename, flush the directory. Where the directory does not let this
// happen, the target itself is written.

#include "platform/os/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <utility>

#include "platform/os/file_calls.h"

namespace cfgex::internal {

namespace {

using file_calls::Descriptor;
using file_calls::RaiseErrno;

constexpr int kMostLinks = 40;     // as the kernel has it
constexpr int kMostWriters = 100;  // at work in one directory on one name
constexpr int kMostRaces = 1000;   // lost to other writers before the operation fails

// Everything up to and with the last slash; empty for a name alone.
std::string DirectoryPart(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// False when there is nothing at the path.
bool LookAt(const std::string& path, struct stat& status) {
  if (file_calls::LinkStatus(path.c_str(), status) == 0) return true;
  if (errno != ENOENT) RaiseErrno("lstat", path, errno);
  return false;
}

std::string LinkText(const std::string& path) {
  char text[PATH_MAX];
  const ssize_t length = file_calls::ReadLink(path.c_str(), text, sizeof text);
  if (length < 0) RaiseErrno("readlink", path, errno);
  return std::string(text, static_cast<std::size_t>(length));
}

// Whether a directory's refusal to take a file, or a new one in an old one's place, leaves the way
// to write the target itself. A full disk does not: that would cost the old content.
bool IsRefusalOfDirectory(int error) noexcept {
  return error == EACCES || error == EPERM || error == EROFS || error == ENAMETOOLONG ||
         error == EBUSY || error == EXDEV;
}

bool IsSameFile(const struct stat& a, const struct stat& b) noexcept {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

FileIdentity IdentityOf(int descriptor) noexcept {
  struct stat status;
  return file_calls::Status(descriptor, status) == 0 ? file_calls::IdentityOf(status)
                                                     : FileIdentity{};
}

class TemporaryFile {
 public:
  TemporaryFile() = default;
  ~TemporaryFile() {
    if (!m_Path.empty()) file_calls::Unlink(m_Path.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Makes the file beside `target`, as one of `name`. Gives 0, or the `errno` that says why the
  // directory takes none.
  int Create(const std::string& target, std::string name, mode_t mode);
  // Closes the descriptor that was written, and keeps the lock.
  void CloseWritten();
  // Puts the file in the target's place. Gives 0 or an `errno`.
  int RenameTo(const std::string& target, bool mustBeNew);

  int Get() const noexcept { return m_Written.Get(); }
  // As it is now, also after the rename, which changes it.
  FileIdentity Identity() const noexcept { return IdentityOf(m_Lock.Get()); }
  const std::string& Path() const noexcept { return m_Path; }

 private:
  enum class Attempt { kMade, kTaken, kRace, kFailed };
  Attempt CreateAt(const std::string& path, mode_t mode);
  static Attempt RemoveRemains(const std::string& path);

  std::string m_Path;  // empty when there is no file to remove
  // Both are one open file, and so one lock.
  Descriptor m_Lock;
  Descriptor m_Written;
};

// Locks what is open and says whether it is still the file at the path. Without locks on
// this file system the file counts as locked if it is one's own new one. `errno` is 0 when nothing
// failed but the race was lost.
bool LockAndConfirm(int descriptor, const std::string& path, bool ownNewFile) {
  if (file_calls::TryLock(descriptor) != 0 && (errno == EWOULDBLOCK || !ownNewFile)) {
    errno = 0;
    return false;
  }
  struct stat opened;
  struct stat named;
  if (file_calls::Status(descriptor, opened) != 0) return false;
  if (file_calls::LinkStatus(path.c_str(), named) != 0) {
    if (errno == ENOENT) errno = 0;
    return false;
  }
  errno = 0;
  return IsSameFile(opened, named);
}

TemporaryFile::Attempt TemporaryFile::RemoveRemains(const std::string& path) {
  const Descriptor found(
      file_calls::Open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!found.IsOpen()) return errno == ENOENT ? Attempt::kRace : Attempt::kTaken;
  // A name that cannot be made free for a fault of the disk must not lead to one more beside it.
  if (!LockAndConfirm(found.Get(), path, false))
    return errno == 0 ? Attempt::kTaken : Attempt::kFailed;
  return file_calls::Unlink(path.c_str()) == 0 ? Attempt::kRace : Attempt::kTaken;
}

TemporaryFile::Attempt TemporaryFile::CreateAt(const std::string& path, mode_t mode) {
  std::string kept = path;  // now: without memory for it the file could not be removed again
  Descriptor made(file_calls::Open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
  if (!made.IsOpen()) return errno == EEXIST ? RemoveRemains(path) : Attempt::kFailed;
  if (!LockAndConfirm(made.Get(), path, true)) return Attempt::kRace;
  m_Path = std::move(kept);
  m_Lock = std::move(made);
  return Attempt::kMade;
}

int TemporaryFile::Create(const std::string& target, std::string name, mode_t mode) {
  constexpr std::string_view kEnding = ".cfgex-new";
  constexpr std::size_t kLongestName = NAME_MAX - 1 - kEnding.size() - sizeof "-99";
  const std::string directory = DirectoryPart(target);
  // A long name is cut, between two characters. Other long names may be cut to the same: then their
  // writers are to each other as writers of one target.
  if (name.empty()) name = target.substr(directory.size());
  if (name.size() > kLongestName) {
    std::size_t length = kLongestName;
    while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80) --length;
    name.resize(length);
  }
  const std::string first = directory + "." + name + std::string(kEnding);

  int races = 0;
  for (int number = 0; number < kMostWriters;) {
    const std::string path = number == 0 ? first : first + "-" + std::to_string(number);
    switch (CreateAt(path, mode)) {
      case Attempt::kMade: {
        Descriptor written(file_calls::Dup(m_Lock.Get()));
        if (!written.IsOpen()) RaiseErrno("dup", m_Path, errno);
        m_Written = std::move(written);
        return 0;
      }
      case Attempt::kFailed:
        return errno;
      case Attempt::kTaken:
        ++number;
        break;
      case Attempt::kRace:
        if (++races == kMostRaces) return EBUSY;
        break;
    }
  }
  return EBUSY;
}

void TemporaryFile::CloseWritten() {
  if (file_calls::Close(m_Written.Detach()) != 0) RaiseErrno("close", m_Path, errno);
}

int TemporaryFile::RenameTo(const std::string& target, bool mustBeNew) {
  const int renamed = mustBeNew ? file_calls::RenameToNew(m_Path.c_str(), target.c_str())
                                : file_calls::Rename(m_Path.c_str(), target.c_str());
  if (renamed != 0) return errno;
  m_Path.clear();
  return 0;
}

void SyncFile(int descriptor, const std::string& path) {
  // Some file systems have nothing to flush for a directory, and say so in this way.
  if (file_calls::Sync(descriptor) != 0 && errno != EINVAL) RaiseErrno("fsync", path, errno);
}

// Opens the directory for flushing. A directory that may not be read cannot be flushed.
Descriptor OpenDirectoryOf(const std::string& target) {
  const std::string directory = DirectoryPart(target);
  Descriptor result(
      file_calls::Open(directory.empty() ? "." : directory.c_str(), O_RDONLY | O_DIRECTORY));
  if (!result.IsOpen() && errno != EACCES) RaiseErrno("open", directory, errno);
  return result;
}

// The target may be one that this process may write, but not read.
Descriptor OpenToLookAt(const std::string& target) {
  constexpr int kFlags = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  Descriptor result(file_calls::Open(target.c_str(), O_RDONLY | kFlags));
  if (!result.IsOpen() && errno == EACCES)
    result = Descriptor(file_calls::Open(target.c_str(), O_WRONLY | kFlags));
  if (!result.IsOpen()) RaiseErrno("open", target, errno);
  return result;
}

// Gives 0, or the `errno` with which the directory refused, before the target was touched.
int ReplaceBesides(const std::string& target, const std::string& family,
                   const std::optional<FileRights>& rights, bool mustBeNew,
                   const ContentWriter& write, FileIdentity& identity) {
  TemporaryFile file;
  constexpr mode_t kMineAlone = S_IRUSR | S_IWUSR;
  constexpr mode_t kEverybody = kMineAlone | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  const int refused = file.Create(target, family, rights ? kMineAlone : kEverybody);
  if (refused != 0) return refused;
  write(file.Get());
  if (rights) GiveRights(file.Get(), *rights, file.Path());
  SyncFile(file.Get(), file.Path());
  file.CloseWritten();
  const Descriptor directory = OpenDirectoryOf(target);
  if (const int error = file.RenameTo(target, mustBeNew); error != 0) return error;
  identity = file.Identity();
  if (directory.IsOpen()) SyncFile(directory.Get(), DirectoryPart(target));
  return 0;
}

// Gives false when the target cannot be opened, or has other names, under which nobody awaits this.
// Nothing is cut off before the new content stands.
bool WriteInPlace(const std::string& target, const FileRights& rights, const ContentWriter& write,
                  FileIdentity& identity) {
  Descriptor file(file_calls::Open(target.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) return false;
  struct stat status;
  if (file_calls::Status(file.Get(), status) != 0) RaiseErrno("fstat", target, errno);
  if (!S_ISREG(status.st_mode)) RaiseErrno("open", target, EINVAL);
  if (status.st_nlink > 1) return false;
  CutRights(file.Get(), rights, target);
  write(file.Get());
  const off_t length = file_calls::Position(file.Get());
  if (length < 0) RaiseErrno("lseek", target, errno);
  if (file_calls::Truncate(file.Get(), length) != 0) RaiseErrno("ftruncate", target, errno);
  SyncFile(file.Get(), target);
  identity = IdentityOf(file.Get());
  if (file_calls::Close(file.Detach()) != 0) RaiseErrno("close", target, errno);
  return true;
}

}  // namespace

std::string FollowLinks(std::string path) {
  struct stat status;
  for (int links = 0; LookAt(path, status) && S_ISLNK(status.st_mode); ++links) {
    if (links == kMostLinks) RaiseErrno("readlink", path, ELOOP);
    const std::string next = LinkText(path);
    path = next.starts_with('/') ? next : DirectoryPart(path).append(next);
  }
  return path;
}

FileIdentity ReplaceContent(const std::string& target, bool mustBeNew, const RightsChooser& choose,
                            const ContentWriter& write, const std::string& family) {
  if (target.empty()) RaiseErrno("open", target, ENOENT);
  if (target.ends_with('/')) RaiseErrno("open", target, EISDIR);
  struct stat old;
  const bool exists = LookAt(target, old);
  if (exists) {
    if (mustBeNew) RaiseErrno("open", target, EEXIST);
    if (S_ISDIR(old.st_mode)) RaiseErrno("open", target, EISDIR);
    if (!S_ISREG(old.st_mode)) RaiseErrno("open", target, EINVAL);
    if (file_calls::CheckWritable(target.c_str()) != 0) RaiseErrno("open", target, errno);
  }
  std::optional<FileRights> present;
  if (exists) present = RightsOf(OpenToLookAt(target).Get(), target);
  const std::optional<FileRights> rights = choose(present);
  FileIdentity identity{};
  const int error = ReplaceBesides(target, family, rights, mustBeNew, write, identity);
  if (error == 0) return identity;
  const bool tryInPlace = exists && rights && IsRefusalOfDirectory(error);
  if (!tryInPlace || !WriteInPlace(target, *rights, write, identity))
    RaiseErrno("replace", target, error);
  return identity;
}

namespace {

void RequireRegularFile(const std::string& path) {
  struct stat status;
  if (!LookAt(path, status)) RaiseErrno("lstat", path, ENOENT);
  if (!S_ISREG(status.st_mode)) RaiseErrno("lstat", path, EINVAL);
}

}  // namespace

void LinkToNew(const std::string& path, const std::string& name) {
  RequireRegularFile(path);
  const Descriptor directory = OpenDirectoryOf(name);
  if (file_calls::Link(path.c_str(), name.c_str()) != 0) RaiseErrno("link", name, errno);
  if (directory.IsOpen()) SyncFile(directory.Get(), DirectoryPart(name));
}

void RenameToNew(const std::string& path, const std::string& name) {
  RequireRegularFile(path);
  if (file_calls::RenameToNew(path.c_str(), name.c_str()) != 0) RaiseErrno("rename", name, errno);
}

void WriteFully(int descriptor, std::span<const std::string_view> pieces, const std::string& path) {
  // Many pieces at once: the system takes a long write in larger units.
  std::array<iovec, 256> next;
  std::size_t done = 0;  // of the first piece
  for (;;) {
    for (; !pieces.empty() && done >= pieces.front().size(); pieces = pieces.subspan(1))
      done -= pieces.front().size();
    if (pieces.empty()) return;
    std::size_t count = 0;
    for (const std::string_view piece : pieces.first(std::min(pieces.size(), next.size()))) {
      const std::string_view rest = piece.substr(count == 0 ? done : 0);
      next[count++] = {const_cast<char*>(rest.data()), rest.size()};
    }
    const ssize_t written = file_calls::Write(descriptor, {next.data(), count});
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) RaiseErrno("write", path, errno);
    if (written == 0) RaiseErrno("write", path, EIO);
    done += static_cast<std::size_t>(written);
  }
}

}  // namespace cfgex::internal
