// Owner, group, permissions, POSIX access list and attributes `user.*` of a file, and how they pass
// to the file that takes its place or is a copy of it.
//
// Nobody gets more rights by that. Where a part cannot be set (the owner, without the rights of
// root; the list, on some file systems), others get less.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

namespace cfgex::internal {

struct FileRights {
  uid_t owner = 0;
  gid_t group = 0;
  mode_t mode = 0;   // with a list its group bits are the list's mask
  std::string list;  // the attribute, as the system stores it; empty for none
  std::vector<std::pair<std::string, std::string>> attributes;  // user.*
};

// The rights of an open regular file. Raises _com_error, with `path` in its text.
FileRights RightsOf(int descriptor, const std::string& path);

// The rights of a copy: those of the source, without its attributes and the bits that `limit` does
// not have. The copy's owner can always read and write it.
FileRights RightsOfCopy(FileRights source, mode_t limit);
// The umask of this thread.
mode_t Umask();

// Sets the rights of a new file, which only its owner can open until then. Those that it inherited
// from its directory are removed. Raises _com_error.
void GiveRights(int descriptor, FileRights rights, const std::string& path);

// Removes from an existing file, before it is written, the permissions that let in more than these
// rights do. Raises _com_error where that cannot be done.
void CutRights(int descriptor, FileRights rights, const std::string& path);

}  // namespace cfgex::internal
