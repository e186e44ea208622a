// Who may do what with a file, and how that passes to the file that takes its place or holds a copy
// of it: owner, group, permissions, POSIX access list, and the attributes `user.*`.
//
// Nobody gets more by that. What cannot be given (the owner, without the rights of root; the list,
// on another file system) leaves the others with less.
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
  std::string list;  // the attribute as the system has it; empty for none
  std::vector<std::pair<std::string, std::string>> attributes;  // user.*
};

// What a regular file that is opened has. Raises _com_error. `path` is for the text of that.
FileRights RightsOf(int descriptor, const std::string& path);

// What a copy of a file with these rights gets: no more than those, and no more than the bits
// `limit`; but its owner can replace it. Attributes stay behind.
FileRights RightsOfCopy(FileRights source, mode_t limit);
// What a new file of this thread is not to have: the umask.
mode_t Umask();

// Gives them to a new file that only its owner can open so far. What its directory gave it goes.
// Raises _com_error.
void GiveRights(int descriptor, FileRights rights, const std::string& path);

// Takes from an existing file, which is about to be written, what lets in more than these rights
// do. Raises _com_error where that cannot be done.
void CutRights(int descriptor, FileRights rights, const std::string& path);

}  // namespace cfgex::internal
