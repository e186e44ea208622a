// The replacement of one file by new content; the steps stand in the source.
#pragma once

#include <sys/types.h>

#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace cfgex {

// Writes the whole content to the descriptor, from its position on. Raises _com_error. May be
// called a second time, with another descriptor.
using ContentWriter = std::function<void(int descriptor)>;

// The path of the file that a path names in the end: symbolic links at the last component are
// followed, also one whose target does not exist. Raises _com_error (too many links).
std::string FollowLinks(std::string path);

// Replaces the content of the file at `target`, which is no symbolic link (see FollowLinks). A new
// file gets the permissions `newMode` less the umask. With `mustBeNew` an existing target is a
// failure. `family` takes the place of the target's name in that of the temporary file, unless it
// is empty. Every failure raises _com_error.
void ReplaceContent(const std::string& target, mode_t newMode, bool mustBeNew,
                    const ContentWriter& write, const std::string& family = {});

// Writes all of it, however many calls that takes. `path` is for the text of the _com_error.
void WriteFully(int descriptor, std::span<const std::string_view> pieces, const std::string& path);

}  // namespace cfgex
