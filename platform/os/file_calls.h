// The system calls that the file operations make, one thin function each.
//
// Every call passes its fault point first. If the hook makes it fail, nothing is done, except that
// Close closes. `errno` is then the hook's; if it sets none, ENOSPC for Write and Truncate, what an
// old file system answers for RenameToNew, Link and SetAttribute, and EIO for the others. The hook
// can also make Write write less. Otherwise results and `errno` are those of the system.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>

#include <cstddef>
#include <ctime>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/os/file.h"

namespace cfgex::internal::file_calls {

int Open(const char* path, int flags, mode_t mode = 0) noexcept;
int Close(int descriptor) noexcept;
int Dup(int descriptor) noexcept;  // closed on exec
ssize_t Read(int descriptor, void* buffer, std::size_t size) noexcept;
ssize_t Write(int descriptor, std::span<const iovec> pieces) noexcept;  // up to IOV_MAX pieces
off_t Seek(int descriptor, off_t offset, int whence) noexcept;
int Truncate(int descriptor, off_t length) noexcept;
int Sync(int descriptor) noexcept;
int Status(int descriptor, struct stat& status) noexcept;
int LinkStatus(const char* path, struct stat& status) noexcept;  // of a link itself
ssize_t ReadLink(const char* path, char* buffer, std::size_t size) noexcept;
int CheckWritable(const char* path) noexcept;
int SetMode(int descriptor, mode_t mode) noexcept;
int SetOwner(int descriptor, uid_t owner, gid_t group) noexcept;
// Extended attributes.
ssize_t GetAttribute(int descriptor, const char* name, void* value, std::size_t size) noexcept;
ssize_t ListAttributes(int descriptor, char* names, std::size_t size) noexcept;
int SetAttribute(int descriptor, const char* name, std::string_view value) noexcept;
int RemoveAttribute(int descriptor, const char* name) noexcept;
int TryLock(int descriptor) noexcept;  // flock, exclusive, without waiting
int Rename(const char* from, const char* to) noexcept;
// Fails with EEXIST if `to` exists, on every file system. On one that cannot do it in one step, a
// process that ends in between may leave both names, or an empty file at `to`.
int RenameToNew(const char* from, const char* to) noexcept;
int Link(const char* from, const char* to) noexcept;
int Unlink(const char* path) noexcept;

FileIdentity IdentityOf(const struct stat& status) noexcept;
// Whether a file was last changed before that time of the clock that stamps files.
bool IsOlder(const FileIdentity& identity, const timespec& time) noexcept;
// The time of that clock; 0 if it cannot be read.
timespec FileTime() noexcept;

// Owns a descriptor and closes it; -1 for none.
class Descriptor {
 public:
  explicit Descriptor(int descriptor = -1) noexcept : m_Descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : m_Descriptor(other.Detach()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_Descriptor, other.m_Descriptor);
    return *this;
  }
  ~Descriptor() {
    if (IsOpen()) Close(Detach());
  }

  bool IsOpen() const noexcept { return m_Descriptor >= 0; }
  int Get() const noexcept { return m_Descriptor; }
  int Detach() noexcept { return std::exchange(m_Descriptor, -1); }

 private:
  int m_Descriptor;
};

// Raises _com_error, FileExists for EEXIST, for the failure of `operation` on `path` with this
// `errno`.
[[noreturn]] void RaiseErrno(const char* operation, const std::string& path, int error);
// As Status and LinkStatus, but a failure raises. ExistsAt is false when there is nothing at the
// path; RequireRegular raises for a directory, a device and the like.
struct stat StatusOf(int descriptor, const std::string& path);
bool ExistsAt(const std::string& path, struct stat& status);
void RequireRegular(const struct stat& status, const std::string& path);

}  // namespace cfgex::internal::file_calls
