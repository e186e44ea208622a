#include "platform/os/file_calls.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cfgex/com_error.h"
#include "platform/fault_point.h"

namespace cfgex::file_calls {

namespace {

bool Fails(const char* operation, int error = EIO) noexcept {
  if (!FaultHere(operation)) return false;
  errno = error;
  return true;
}

// The two forms of strerror_r: one gives the text, one fills the buffer.
const char* TextOf(const char* result, const char* /*buffer*/) noexcept { return result; }
[[maybe_unused]] const char* TextOf(int result, const char* buffer) noexcept {
  return result == 0 ? buffer : "unknown error";
}

}  // namespace

int Open(const char* path, int flags, mode_t mode) noexcept {
  if (Fails("open")) return -1;
  int result = -1;
  do {
    result = ::open(path, flags | O_CLOEXEC, mode);
  } while (result < 0 && errno == EINTR);
  return result;
}

int Close(int descriptor) noexcept {
  const bool failing = FaultHere("close");
  // Interrupted or not, the descriptor is free afterwards: a second call could hit another's.
  const int result = ::close(descriptor);
  if (failing) {
    errno = EIO;
    return -1;
  }
  return result < 0 && errno == EINTR ? 0 : result;
}

int Dup(int descriptor) noexcept {
  return Fails("dup") ? -1 : ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
}

ssize_t Read(int descriptor, void* buffer, std::size_t size) noexcept {
  return Fails("read") ? -1 : ::read(descriptor, buffer, size);
}

ssize_t Write(int descriptor, const void* bytes, std::size_t size) noexcept {
  return Fails("write", ENOSPC) ? -1 : ::write(descriptor, bytes, size);
}

int Seek(int descriptor, off_t position) noexcept {
  return Fails("lseek") || ::lseek(descriptor, position, SEEK_SET) < 0 ? -1 : 0;
}

off_t Position(int descriptor) noexcept {
  return Fails("lseek") ? -1 : ::lseek(descriptor, 0, SEEK_CUR);
}

int Truncate(int descriptor, off_t length) noexcept {
  return Fails("ftruncate", ENOSPC) ? -1 : ::ftruncate(descriptor, length);
}

int Sync(int descriptor) noexcept {
  if (Fails("fsync")) return -1;
  int result = -1;
  do {
    result = ::fsync(descriptor);
  } while (result < 0 && errno == EINTR);
  return result;
}

int Status(int descriptor, struct stat& status) noexcept {
  return Fails("fstat") ? -1 : ::fstat(descriptor, &status);
}

int LinkStatus(const char* path, struct stat& status) noexcept {
  return Fails("lstat") ? -1 : ::lstat(path, &status);
}

ssize_t ReadLink(const char* path, char* buffer, std::size_t size) noexcept {
  return Fails("readlink") ? -1 : ::readlink(path, buffer, size);
}

int CheckWritable(const char* path) noexcept {
  return Fails("access") ? -1 : ::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS);
}

int SetMode(int descriptor, mode_t mode) noexcept {
  return Fails("fchmod") ? -1 : ::fchmod(descriptor, mode);
}

int SetOwner(int descriptor, uid_t owner, gid_t group) noexcept {
  return Fails("fchown") ? -1 : ::fchown(descriptor, owner, group);
}

int TryLock(int descriptor) noexcept {
  return Fails("flock") ? -1 : ::flock(descriptor, LOCK_EX | LOCK_NB);
}

int Rename(const char* from, const char* to) noexcept {
  return Fails("rename") ? -1 : ::rename(from, to);
}

int RenameToNew(const char* from, const char* to) noexcept {
  return Fails("rename") ? -1 : ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
}

int Unlink(const char* path) noexcept { return Fails("unlink") ? -1 : ::unlink(path); }

void RaiseErrno(const char* operation, const std::string& path, int error) {
  char buffer[256] = "";
  const char* text = TextOf(::strerror_r(error, buffer, sizeof buffer), buffer);
  throw _com_error(error == ENOMEM ? _com_error::kOutOfMemory : _com_error::kWriteFault,
                   std::string(operation) + " " + path + ": " + text);
}

}  // namespace cfgex::file_calls
