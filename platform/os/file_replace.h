// The replacement of one file by new content; the steps are listed in the source.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/os/file.h"
#include "platform/os/file_rights.h"

namespace cfgex::internal {

// Writes the whole content to the descriptor, from its position on. Raises _com_error. May be
// called a second time, with another descriptor.
using ContentWriter = std::function<void(int descriptor)>;

// The path of the file that a path leads to. Symbolic links at the last component are followed,
// also one whose target does not exist. Raises _com_error (too many links).
std::string FollowLinks(std::string path);

// What may be at the target.
enum class Over {
  kNothing,      // an existing file is a failure
  kNothingOnce,  // the same, for a name that is not used again, such as one with a number in it
  kCopy,         // a file that loses the rights which the new content's source does not have
  kOriginal      // a file that keeps its rights
};
inline bool MustBeNew(Over over) { return over == Over::kNothing || over == Over::kNothingOnce; }

// Replaces the content of the file at `target`, which is no symbolic link (see FollowLinks). A new
// file gets the rights of a copy of `source`; without one, what the umask and its directory leave.
// Returns the identity of the file that has the content, none if it is not known. Every failure
// raises _com_error.
FileIdentity ReplaceContent(const std::string& target, Over over,
                            const std::optional<FileRights>& source, const ContentWriter& write);

// Adds a name to a regular file, or changes its name; the name must be new. Raises _com_error.
// LinkToNew flushes the directory. RenameToNew need not: when a new file is made in the old place
// and its directory is flushed, the renaming is on the disk, because the changes of one name keep
// their order.
void LinkToNew(const std::string& path, const std::string& name);
void RenameToNew(const std::string& path, const std::string& name);

// Writes all of it, however many calls that takes. `path` is for the text of the _com_error.
void WriteFully(int descriptor, std::span<const std::string_view> pieces, const std::string& path);

}  // namespace cfgex::internal
