// The replacement of one file by new content; the steps stand in the source.
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

// The path of the file that a path names in the end: symbolic links at the last component are
// followed, also one whose target does not exist. Raises _com_error (too many links).
std::string FollowLinks(std::string path);

// Says what the file is to have, given what the target has if it exists. None is for a new file,
// which then gets what the umask and its directory leave.
using RightsChooser =
    std::function<std::optional<FileRights>(const std::optional<FileRights>& present)>;

// Replaces the content of the file at `target`, which is no symbolic link (see FollowLinks). With
// `mustBeNew` an existing target is a failure. `family` takes the place of the target's name in
// that of the temporary file, unless it is empty. Gives
// the identity of the file that has the content, none if it cannot be told. Every failure raises
// _com_error.
FileIdentity ReplaceContent(const std::string& target, bool mustBeNew, const RightsChooser& choose,
                            const ContentWriter& write, const std::string& family = {});

// Gives a regular file a second or another name, which must be new. Raises _com_error. Of the
// second name the directory is flushed. The other is on the disk as soon as a new file in the old
// place is: what is done to one name keeps its order.
void LinkToNew(const std::string& path, const std::string& name);
void RenameToNew(const std::string& path, const std::string& name);

// Writes all of it, however many calls that takes. `path` is for the text of the _com_error.
void WriteFully(int descriptor, std::span<const std::string_view> pieces, const std::string& path);

}  // namespace cfgex::internal
