// The system calls that the file operations make, one thin function each.
//
// Every call passes its fault point first; where the hook makes it
// fail, nothing is done but what the call does even when it fails (a descriptor is closed), and
// `errno` is the hook's, or else ENOSPC for Write and Truncate, what an old file system says
// for RenameToNew, Link and SetAttribute, EIO for the others; Write may also be made shorter.
// Results and `errno` are otherwise those of the system.
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
ssize_t Write(int descriptor, std::span<const iovec> pieces) noexcept;  // at most IOV_MAX
int Seek(int descriptor, off_t position) noexcept;
off_t Position(int descriptor) noexcept;
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
// Fails where `to` exists (EEXIST), whatever the file system can do. A process that ends in the
// midst may leave both names, or an empty file at `to`, on one that cannot do it in one step.
int RenameToNew(const char* from, const char* to) noexcept;
int Link(const char* from, const char* to) noexcept;
int Unlink(const char* path) noexcept;

FileIdentity IdentityOf(const struct stat& status) noexcept;
// Whether a file was last changed before that time, told by the clock that stamps files.
bool IsOlder(const FileIdentity& identity, const timespec& time) noexcept;
// What that clock shows; the beginning of time if it cannot be read.
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

}  // namespace cfgex::internal::file_calls
