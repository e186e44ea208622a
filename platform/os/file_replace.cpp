// How the content of a file is replaced.
//
// The temporary file of a target NAME is `.NAME.cfgex-new` beside it. It is `.cfgex-new` if NAME is
// too long, or if the target is written only once: remains under a name of its own would never be
// removed. While other writers are at work under that name, `-1` is added, and so on.
//
// 1. A temporary file belongs to the writer that holds the lock (flock) on the file at its path.
//    Only that writer writes, renames or removes it. So writers whose names meet, of one target or
//    of several, in one process or in several, never harm each other.
// 2. The lock outlives the descriptor that is written and closed. It ends with the rename or
//    removal, and with the process. A temporary file that nobody has locked is what a crash left
//    (or its maker has yet to lock it, and will find out that it is lost). The next writer removes
//    it.
// 3. The target's name always leads to a whole file: the old one until the rename, then the new.
//
// Steps: look at the target, make the temporary file, which is its maker's alone, fill it, give it
// its rights, flush, close, rename, flush the directory. Where the directory does not let this
// happen, the target itself is written.

#include "platform/os/file_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

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
constexpr int kMostWriters = 100;  // at work in one directory under one name

// Everything up to and with the last slash; empty for a name alone.
std::string DirectoryPart(const std::string& path) {
  return path.substr(0, path.rfind('/') + 1);  // npos + 1 is 0
}

std::string LinkText(const std::string& path) {
  char text[PATH_MAX];
  const ssize_t length = file_calls::ReadLink(path.c_str(), text, sizeof text);
  if (length < 0) RaiseErrno("readlink", path, errno);
  return std::string(text, static_cast<std::size_t>(length));
}

// Whether the target itself may be written after its directory refused a new file with this error.
// A full disk is no such error: writing in place would destroy the old content.
bool IsRefusalOfDirectory(int error) noexcept {
  return error == EACCES || error == EPERM || error == EROFS || error == ENAMETOOLONG ||
         error == EBUSY || error == EXDEV;
}

void RequireRegularFile(const std::string& path) {
  struct stat status;
  if (!file_calls::ExistsAt(path, status)) RaiseErrno("lstat", path, ENOENT);
  file_calls::RequireRegular(status, path);
}

FileIdentity IdentityOf(int descriptor) noexcept {
  struct stat status;
  return file_calls::Status(descriptor, status) == 0 ? file_calls::IdentityOf(status)
                                                     : FileIdentity{};
}

struct TemporaryFile {
  TemporaryFile() = default;
  ~TemporaryFile() {
    if (!path.empty()) file_calls::Unlink(path.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  // Makes the file beside `target`. Returns 0, or why the directory takes none.
  int Create(const std::string& target, Over over, mode_t mode);

  std::string path;  // empty when there is no file to remove
  // Both are one open file, and so one lock.
  Descriptor lock;
  Descriptor written;
};

// Locks what is open. Returns 0 if it is then still the file at the path, EEXIST if another writer
// has it or has replaced it, or why that cannot be told.
int LockAt(const std::string& path, int descriptor, bool isOwn) {
  // On a file system without locks only one's own new file counts as locked.
  if (file_calls::TryLock(descriptor) != 0 && (errno == EWOULDBLOCK || !isOwn)) return EEXIST;
  struct stat opened;
  struct stat named;
  if (file_calls::Status(descriptor, opened) != 0) return errno;
  if (file_calls::LinkStatus(path.c_str(), named) != 0) return errno == ENOENT ? EEXIST : errno;
  return opened.st_dev == named.st_dev && opened.st_ino == named.st_ino ? 0 : EEXIST;
}

// Removes what a crash left at the path. Returns 0, EEXIST if it is not that or cannot be removed,
// or why that cannot be told: then no file is to be made beside it, or they would pile up.
int RemoveRemains(const std::string& path) {
  const Descriptor found(
      file_calls::Open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!found.IsOpen()) return errno == ENOENT ? 0 : EEXIST;
  if (const int error = LockAt(path, found.Get(), false); error != 0) return error;
  return file_calls::Unlink(path.c_str()) == 0 ? 0 : EEXIST;
}

int TemporaryFile::Create(const std::string& target, Over over, mode_t mode) {
  constexpr std::string_view kEnding = ".cfgex-new";
  std::string first = DirectoryPart(target);
  const std::string name = target.substr(first.size());
  if (over != Over::kNothingOnce && 1 + name.size() + kEnding.size() + sizeof "-99" <= NAME_MAX)
    first += "." + name;
  first += kEnding;

  int error = 0;
  for (int number = 0; number < kMostWriters; number += error == EEXIST ? 1 : 0) {
    // Kept from here on: without memory for it the file could not be removed again.
    std::string at = number == 0 ? first : first + "-" + std::to_string(number);
    Descriptor made(file_calls::Open(at.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode));
    if (!made.IsOpen()) {
      error = errno == EEXIST ? RemoveRemains(at) : errno;
    } else if (error = LockAt(at, made.Get(), true); error == 0) {
      path = std::move(at);
      lock = std::move(made);
      written = Descriptor(file_calls::Dup(lock.Get()));
      if (!written.IsOpen()) RaiseErrno("dup", path, errno);
      return 0;
    } else if (error != EEXIST) {
      made = Descriptor();
      RemoveRemains(at);
    }
    if (error != 0 && error != EEXIST) return error;
  }
  return EBUSY;
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

// Returns 0, or the `errno` with which the directory refused before the target was changed.
int ReplaceBesides(const std::string& target, Over over, const std::optional<FileRights>& rights,
                   const ContentWriter& write, FileIdentity& identity) {
  TemporaryFile file;
  constexpr mode_t kMineAlone = S_IRUSR | S_IWUSR;
  constexpr mode_t kEverybody = kMineAlone | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
  const int refused = file.Create(target, over, rights ? kMineAlone : kEverybody);
  if (refused != 0) return refused;
  write(file.written.Get());
  if (rights) GiveRights(file.written.Get(), *rights, file.path);
  SyncFile(file.written.Get(), file.path);
  if (file_calls::Close(file.written.Detach()) != 0) RaiseErrno("close", file.path, errno);
  const Descriptor directory = OpenDirectoryOf(target);
  const auto rename = MustBeNew(over) ? file_calls::RenameToNew : file_calls::Rename;
  if (rename(file.path.c_str(), target.c_str()) != 0) return errno;
  file.path.clear();
  identity = IdentityOf(file.lock.Get());  // which the rename has changed
  if (directory.IsOpen()) SyncFile(directory.Get(), DirectoryPart(target));
  return 0;
}

// False when the target cannot be opened, or has other names, whose users do not expect a change.
// The old content is cut off only after the new one is written.
bool WriteInPlace(const std::string& target, const FileRights& rights, const ContentWriter& write,
                  FileIdentity& identity) {
  Descriptor file(file_calls::Open(target.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) return false;
  const struct stat status = file_calls::StatusOf(file.Get(), target);
  file_calls::RequireRegular(status, target);
  if (status.st_nlink > 1) return false;
  CutRights(file.Get(), rights, target);
  write(file.Get());
  const off_t length = file_calls::Seek(file.Get(), 0, SEEK_CUR);
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
  for (int links = 0; file_calls::ExistsAt(path, status) && S_ISLNK(status.st_mode); ++links) {
    if (links == kMostLinks) RaiseErrno("readlink", path, ELOOP);
    const std::string next = LinkText(path);
    path = next.starts_with('/') ? next : DirectoryPart(path).append(next);
  }
  return path;
}

FileIdentity ReplaceContent(const std::string& target, Over over,
                            const std::optional<FileRights>& source, const ContentWriter& write) {
  if (target.empty()) RaiseErrno("open", target, ENOENT);
  if (target.ends_with('/')) RaiseErrno("open", target, EISDIR);
  struct stat old;
  const bool exists = file_calls::ExistsAt(target, old);
  if (exists) {
    if (MustBeNew(over)) RaiseErrno("open", target, EEXIST);
    file_calls::RequireRegular(old, target);
    if (file_calls::CheckWritable(target.c_str()) != 0) RaiseErrno("open", target, errno);
  }
  std::optional<FileRights> rights;
  if (exists) rights = RightsOf(OpenToLookAt(target).Get(), target);
  if (source && (!rights || over != Over::kOriginal))
    rights = RightsOfCopy(*source, rights ? rights->mode : ~Umask());
  FileIdentity identity{};
  const int error = ReplaceBesides(target, over, rights, write, identity);
  if (error == 0) return identity;
  const bool tryInPlace = exists && rights && IsRefusalOfDirectory(error);
  if (!tryInPlace || !WriteInPlace(target, *rights, write, identity))
    RaiseErrno("replace", target, error);
  return identity;
}

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
