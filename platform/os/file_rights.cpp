#include "platform/os/file_rights.h"

#include <endian.h>
#include <linux/posix_acl.h>
#include <linux/posix_acl_xattr.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/os/file.h"
#include "platform/os/file_calls.h"

namespace cfgex::internal {

namespace {

using file_calls::RaiseErrno;

constexpr const char* kAccessList = "system.posix_acl_access";
constexpr std::size_t kLargestAttribute = 65536;  // as the kernel has it, for the list of names too
constexpr mode_t kPermissions = 07777;
constexpr mode_t kEverybody = S_IRWXU | S_IRWXG | S_IRWXO;
constexpr mode_t kReadAndWrite = 06;

constexpr mode_t GroupBits(mode_t mode) noexcept { return mode >> 3 & 07; }
constexpr mode_t OtherBits(mode_t mode) noexcept { return mode & 07; }
// The mode with other bits for the group and for all others.
constexpr mode_t WithBits(mode_t mode, mode_t group, mode_t other) noexcept {
  return (mode & ~static_cast<mode_t>(S_IRWXG | S_IRWXO)) | group << 3 | other;
}

// Whether the file system lacks a thing, or the process may not set it.
bool IsRefusal(int error) noexcept {
  return error == ENOTSUP || error == ENOSYS || error == EPERM || error == EACCES ||
         error == EINVAL;
}

// Empty where the file has no such attribute.
std::string AttributeOf(int descriptor, const char* name, const std::string& path) {
  std::string value(kLargestAttribute, '\0');
  const ssize_t size = file_calls::GetAttribute(descriptor, name, value.data(), value.size());
  if (size < 0 && errno != ENODATA && errno != ENOTSUP && errno != ENOSYS)
    RaiseErrno("fgetxattr", path, errno);
  value.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return value;
}

std::vector<std::pair<std::string, std::string>> UserAttributesOf(int descriptor,
                                                                  const std::string& path) {
  std::string names(kLargestAttribute, '\0');
  const ssize_t size = file_calls::ListAttributes(descriptor, names.data(), names.size());
  if (size < 0 && !IsRefusal(errno)) RaiseErrno("flistxattr", path, errno);
  names.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  std::vector<std::pair<std::string, std::string>> result;
  for (std::size_t at = 0; at < names.size(); at = names.find('\0', at) + 1) {
    const std::string name = names.c_str() + at;
    if (name.starts_with("user."))
      result.emplace_back(name, AttributeOf(descriptor, name.c_str(), path));
  }
  return result;
}

// Calls `visit` with the tag and the bits of each entry of a list. Changed bits are written back.
template <class Visitor>
void ForEachEntry(std::string& list, const Visitor& visit) {
  posix_acl_xattr_entry entry;
  for (std::size_t at = sizeof(posix_acl_xattr_header); at + sizeof entry <= list.size();
       at += sizeof entry) {
    std::memcpy(&entry, list.data() + at, sizeof entry);
    mode_t bits = le16toh(entry.e_perm);
    visit(le16toh(entry.e_tag), bits);
    entry.e_perm = htole16(static_cast<std::uint16_t>(bits));
    std::memcpy(list.data() + at, &entry, sizeof entry);
  }
}

// For a file of another group. Members of the old group are now among the others, and some others
// are members of the new group. So group and others get only what both had.
void CutForOtherGroup(FileRights& rights) {
  mode_t both = GroupBits(rights.mode) & OtherBits(rights.mode);
  ForEachEntry(rights.list, [&](int tag, mode_t& bits) {
    if (tag == ACL_GROUP_OBJ) both = bits = bits & both;
  });
  rights.mode = WithBits(rights.mode, rights.list.empty() ? both : GroupBits(rights.mode), both);
}

// The mode for a file without the list. Users and groups in the list then count as group or others,
// so those get no more than each of them had.
mode_t ModeWithoutList(const FileRights& rights) {
  mode_t group = 07;
  mode_t named = 07;
  std::string list = rights.list;
  ForEachEntry(list, [&](int tag, mode_t& bits) {
    if (tag == ACL_GROUP_OBJ) group = bits;
    if (tag == ACL_USER || tag == ACL_GROUP) named &= bits & GroupBits(rights.mode);
  });
  return WithBits(rights.mode, GroupBits(rights.mode) & group & named,
                  OtherBits(rights.mode) & named);
}

// Sets the list, with the bits of the mode. False where the file takes none.
bool GiveList(int descriptor, FileRights rights, const std::string& path) {
  if (rights.list.empty()) return false;
  ForEachEntry(rights.list, [&](int tag, mode_t& bits) {
    if (tag == ACL_USER_OBJ) bits = rights.mode >> 6 & 07;
    if (tag == ACL_MASK) bits = GroupBits(rights.mode);
    if (tag == ACL_OTHER) bits = OtherBits(rights.mode);
  });
  if (file_calls::SetAttribute(descriptor, kAccessList, rights.list) == 0) return true;
  if (!IsRefusal(errno)) RaiseErrno("fsetxattr", path, errno);
  return false;
}

// False if an inherited list may still be there.
bool RemoveList(int descriptor, const std::string& path) {
  if (file_calls::RemoveAttribute(descriptor, kAccessList) == 0) return true;
  if (errno == ENODATA || errno == ENOTSUP || errno == ENOSYS) return true;
  if (!IsRefusal(errno)) RaiseErrno("fremovexattr", path, errno);
  return false;
}

// Sets owner and group, or only the group, as far as the process may. Returns what the file then
// has.
struct stat GiveOwner(int descriptor, const FileRights& rights, const std::string& path) {
  const struct stat status = file_calls::StatusOf(descriptor, path);
  if (status.st_uid == rights.owner && status.st_gid == rights.group) return status;
  if (file_calls::SetOwner(descriptor, rights.owner, rights.group) != 0) {
    if (errno == EIO) RaiseErrno("fchown", path, errno);
    if (file_calls::SetOwner(descriptor, status.st_uid, rights.group) != 0 && errno == EIO)
      RaiseErrno("fchown", path, errno);
  }
  return file_calls::StatusOf(descriptor, path);
}

}  // namespace

FileRights RightsOf(int descriptor, const std::string& path) {
  const struct stat status = file_calls::StatusOf(descriptor, path);
  file_calls::RequireRegular(status, path);
  return {status.st_uid, status.st_gid, status.st_mode & kPermissions,
          AttributeOf(descriptor, kAccessList, path), UserAttributesOf(descriptor, path)};
}

FileRights RightsOfCopy(FileRights source, mode_t limit) {
  source.mode = (source.mode & limit & kEverybody) | kReadAndWrite << 6;
  source.attributes.clear();
  return source;
}

mode_t Umask() {
  constexpr std::string_view kLine = "\nUmask:\t";
  std::string status;
  if (ReadWholeFile(L"/proc/thread-self/status", status) == Reading::kDone) {
    const std::size_t at = status.find(kLine);
    if (at != std::string::npos)
      return static_cast<mode_t>(std::strtoul(status.c_str() + at + kLine.size(), nullptr, 8));
  }
  return S_IRWXG | S_IRWXO;  // no more than its owner needs
}

void GiveRights(int descriptor, FileRights rights, const std::string& path) {
  for (const auto& [name, value] : rights.attributes) {
    if (file_calls::SetAttribute(descriptor, name.c_str(), value) != 0 && !IsRefusal(errno))
      RaiseErrno("fsetxattr", path, errno);
  }
  const bool mayHaveList = !RemoveList(descriptor, path);
  const struct stat status = GiveOwner(descriptor, rights, path);

  // The set-id bits are for the old owner and group only.
  if (status.st_uid != rights.owner || status.st_gid != rights.group) rights.mode &= kEverybody;
  if (status.st_gid != rights.group) CutForOtherGroup(rights);
  if (!GiveList(descriptor, rights, path)) {
    rights.mode = ModeWithoutList(rights);
    if (mayHaveList) rights.mode = WithBits(rights.mode, 0, OtherBits(rights.mode));
  }
  if (file_calls::SetMode(descriptor, rights.mode) != 0) RaiseErrno("fchmod", path, errno);
}

void CutRights(int descriptor, FileRights rights, const std::string& path) {
  const FileRights present = RightsOf(descriptor, path);
  const bool ofSameOwner = present.owner == rights.owner;
  const bool ofSameGroup = present.group == rights.group;
  if (ofSameOwner && ofSameGroup && present.list == rights.list && present.mode == rights.mode)
    return;
  if (!ofSameGroup) CutForOtherGroup(rights);
  mode_t allowed = ModeWithoutList(rights);
  // The file's own list may name anybody.
  if (!present.list.empty())
    allowed = WithBits(allowed, GroupBits(allowed) & OtherBits(allowed), OtherBits(allowed));
  // A file's owner can take every right. Root and this process can read the content anyway.
  if (!ofSameOwner && present.owner != 0 && present.owner != ::geteuid() &&
      (allowed & S_IROTH) == 0) {
    RaiseErrno("open", path, EPERM);
  }
  // The rights to write it stay.
  constexpr mode_t kLeft = S_ISUID | S_ISGID | S_ISVTX | S_IRWXU | S_IWGRP | S_IWOTH;
  const mode_t mode = present.mode & (allowed | kLeft);
  if (mode != present.mode && file_calls::SetMode(descriptor, mode) != 0)
    RaiseErrno("fchmod", path, errno);
}

}  // namespace cfgex::internal
