#include "platform/os/file_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <new>
#include <system_error>

#include "cfgex/com_error.h"
#include "platform/os/fault_point.h"

namespace cfgex::internal::file_calls {

namespace {

using enum FaultPoint;

bool Fails(Passage passage, int error = EIO) noexcept {
  if (!FaultHere(passage)) return false;
  errno = passage.error != 0 ? passage.error : error;
  return true;
}
bool Fails(FaultPoint point, int descriptor, int error = EIO) noexcept {
  return Fails({.point = point, .descriptor = descriptor}, error);
}
bool Fails(FaultPoint point, const char* path) noexcept {
  return Fails({.point = point, .path = path});
}

// The result of a call once no signal has interrupted it.
template <class Call>
auto Repeat(const Call& call) noexcept {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace

int Open(const char* path, int flags, mode_t mode) noexcept {
  if (Fails(kOpen, path)) return -1;
  return Repeat([=] { return ::open(path, flags | O_CLOEXEC, mode); });
}

int Close(int descriptor) noexcept {
  const bool fails = Fails(kClose, descriptor);
  const int error = errno;
  // Interrupted or not, the descriptor is free afterwards: a second call could hit another's.
  const bool closed = ::close(descriptor) == 0 || errno == EINTR;
  if (fails) errno = error;
  return closed && !fails ? 0 : -1;
}

int Dup(int descriptor) noexcept {
  return Fails(kDup, descriptor) ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

ssize_t Read(int descriptor, void* buffer, std::size_t size) noexcept {
  if (Fails(kRead, descriptor)) return -1;
  return Repeat([=] { return ::read(descriptor, buffer, size); });
}

ssize_t Write(int descriptor, std::span<const iovec> pieces) noexcept {
  std::size_t size = 0;
  for (const iovec& piece : pieces) size += piece.iov_len;
  Passage passage{.point = kWrite, .descriptor = descriptor, .size = size};
  if (FaultHere(passage)) {
    errno = passage.error != 0 ? passage.error : ENOSPC;
    return -1;
  }
  if (passage.size < size)
    return ::write(descriptor, pieces[0].iov_base, std::min(passage.size, pieces[0].iov_len));
  return ::writev(descriptor, pieces.data(), static_cast<int>(pieces.size()));
}

off_t Seek(int descriptor, off_t offset, int whence) noexcept {
  return Fails(kLseek, descriptor) ? -1 : ::lseek(descriptor, offset, whence);
}

int Truncate(int descriptor, off_t length) noexcept {
  return Fails(kFtruncate, descriptor, ENOSPC) ? -1 : ::ftruncate(descriptor, length);
}

int Sync(int descriptor) noexcept {
  return Fails(kFsync, descriptor) ? -1 : Repeat([=] { return ::fsync(descriptor); });
}

int Status(int descriptor, struct stat& status) noexcept {
  return Fails(kFstat, descriptor) ? -1 : ::fstat(descriptor, &status);
}

int LinkStatus(const char* path, struct stat& status) noexcept {
  return Fails(kLstat, path) ? -1 : ::lstat(path, &status);
}

ssize_t ReadLink(const char* path, char* buffer, std::size_t size) noexcept {
  return Fails(kReadlink, path) ? -1 : ::readlink(path, buffer, size);
}

int CheckWritable(const char* path) noexcept {
  return Fails(kAccess, path) ? -1 : ::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS);
}

int SetMode(int descriptor, mode_t mode) noexcept {
  return Fails(kFchmod, descriptor) ? -1 : ::fchmod(descriptor, mode);
}

int SetOwner(int descriptor, uid_t owner, gid_t group) noexcept {
  return Fails(kFchown, descriptor) ? -1 : ::fchown(descriptor, owner, group);
}

ssize_t GetAttribute(int descriptor, const char* name, void* value, std::size_t size) noexcept {
  return Fails(kFgetxattr, descriptor) ? -1 : ::fgetxattr(descriptor, name, value, size);
}

ssize_t ListAttributes(int descriptor, char* names, std::size_t size) noexcept {
  return Fails(kFlistxattr, descriptor) ? -1 : ::flistxattr(descriptor, names, size);
}

int SetAttribute(int descriptor, const char* name, std::string_view value) noexcept {
  return Fails(kFsetxattr, descriptor, ENOTSUP)
             ? -1
             : ::fsetxattr(descriptor, name, value.data(), value.size(), 0);
}

int RemoveAttribute(int descriptor, const char* name) noexcept {
  return Fails(kFremovexattr, descriptor) ? -1 : ::fremovexattr(descriptor, name);
}

int TryLock(int descriptor) noexcept {
  return Fails(kFlock, descriptor) ? -1 : ::flock(descriptor, LOCK_EX | LOCK_NB);
}

int Rename(const char* from, const char* to) noexcept {
  return Fails({.point = kRename, .path = from, .newPath = to}) ? -1 : ::rename(from, to);
}

int RenameToNew(const char* from, const char* to) noexcept {
  if (!Fails({.point = kRenameat2, .path = from, .newPath = to}, EINVAL) &&
      ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
    return 0;
  }
  if (errno != EINVAL && errno != ENOSYS) return -1;  // else the flag is not known here
  if (Link(from, to) == 0) {
    Unlink(from);
    return 0;
  }
  if (errno == EEXIST) return -1;
  // No links either: an empty file of one's own keeps the name free.
  const int kept = Open(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  if (kept < 0) return -1;
  Close(kept);
  if (Rename(from, to) == 0) return 0;
  const int error = errno;
  Unlink(to);
  errno = error;
  return -1;
}

int Link(const char* from, const char* to) noexcept {
  return Fails({.point = kLink, .path = from, .newPath = to}, EPERM) ? -1 : ::link(from, to);
}

int Unlink(const char* path) noexcept { return Fails(kUnlink, path) ? -1 : ::unlink(path); }

FileIdentity IdentityOf(const struct stat& status) noexcept {
  return {static_cast<long long>(status.st_dev),
          static_cast<long long>(status.st_ino),
          status.st_size,
          status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec,
          status.st_ctim.tv_sec,
          status.st_ctim.tv_nsec};
}

bool IsOlder(const FileIdentity& identity, const timespec& time) noexcept {
  return std::pair(identity[5], identity[6]) <
         std::pair<long long, long long>(time.tv_sec, time.tv_nsec);
}

timespec FileTime() noexcept {
  timespec time{};
  return ::clock_gettime(CLOCK_REALTIME_COARSE, &time) == 0 ? time : timespec{};
}

void RaiseErrno(const char* operation, const std::string& path, int error) {
  if (error == ENOMEM) throw std::bad_alloc();
  const std::string what =
      std::string(operation) + " " + path + ": " + std::generic_category().message(error);
  if (error == EEXIST) throw FileExists(_com_error::kWriteFault, what);
  throw _com_error(_com_error::kWriteFault, what);
}

struct stat StatusOf(int descriptor, const std::string& path) {
  struct stat status;
  if (Status(descriptor, status) != 0) RaiseErrno("fstat", path, errno);
  return status;
}

bool ExistsAt(const std::string& path, struct stat& status) {
  if (LinkStatus(path.c_str(), status) == 0) return true;
  if (errno != ENOENT) RaiseErrno("lstat", path, errno);
  return false;
}

void RequireRegular(const struct stat& status, const std::string& path) {
  if (!S_ISREG(status.st_mode)) RaiseErrno("open", path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
}

}  // namespace cfgex::internal::file_calls
