// Files: read whole, replaced whole.
//
// Writing:
// - The content is written to a new file beside the target, which is flushed and renamed over the
//   target. Then the directory is flushed. So after a crash the target has its old or its new
//   content.
// - Permissions, owner, access list and user attributes of an existing target are kept, as far as
//   the process may set them (see file_rights.h).
// - A symbolic link at the target stays. The file that it leads to is replaced, or made.
// - If the directory takes no new file, or none in the target's place, the target is written in
//   place, unless it cannot be written or has other names.
// - A failure leaves the target as it was, and no new file. Written in place, the target may be
//   incomplete. If flushing the directory failed, the target is new.
// - Several writers, in threads or processes, may replace one target at once. Each leaves a whole
//   file, and the last one's stays. This does not hold in place. No writer waits for another.
//
// Only regular files are read and replaced, and no target that the process may not write.
//
// While it is made the new file of NAME is called .NAME.cfgex-new, or .cfgex-new for CopyToNewFile
// and WriteNewFile, with -1 and so on behind it while other writers are at work. The next write
// under that name removes what a crash left.
//
// Lack of memory is no failure in what follows: it raises std::bad_alloc everywhere.
//
// Paths are wide and become UTF-8 bytes, whatever the locale. A path with a null character or with
// a number that is no character is refused.
#pragma once

#include <array>
#include <cstddef>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cfgex/com_error.h"

namespace OS {

// Copies a file's content over `target`. The target's rights differ from what is said above, so
// that only those can read it who can read the source:
// - It gets the source's owner, group, access list and permissions, less the umask, or less what an
//   existing target's permissions do not have. Its owner can read and write it.
// - A target that lets in more, and has to be written in place, is narrowed or refused.
// False on failure. With `failIfExists` an existing target is a failure. Without it, a target that
// is the source itself is left alone, and the result is true.
bool CopyFileW(const std::wstring& source, const std::wstring& target, bool failIfExists);

}  // namespace OS

namespace cfgex::internal {

// The largest file that is read, in bytes: what the engine takes as one text.
inline constexpr std::size_t kLargestFile = 0x7fffffff;

// Tells one state of a file from its other states and from other files: device, inode, size, time
// of the last change of the content, and of the file. All zero for none.
using FileIdentity = std::array<long long, 7>;

struct FileState {
  FileIdentity identity{};
  // Whether every later change shows in the identity. The clock that stamps files goes in steps of
  // some milliseconds; a change in place within such a step may leave the identity as it is.
  bool isSettled = false;
};

// How the reading of a file ends.
enum class Reading {
  kDone,
  kMissing,   // there is nothing at the path
  kTooLarge,  // larger than kLargestFile
  // The content is not known: a call failed, the file was written meanwhile, or the path leads to
  // what is no regular file, or by a symbolic link to nothing.
  kFailed
};

// The content of a regular file, and its state at that time if `state` is given. Both are unchanged
// unless all of the file was read.
Reading ReadWholeFile(const std::wstring& path, std::string& content, FileState* state = nullptr);

// Whether there is nothing at the path, not even a symbolic link that leads nowhere.
bool IsMissing(const std::wstring& path);

// For callers that must know a file's content and got Reading::kFailed. It is no _com_error,
// because a _com_error counts as a verdict on the file.
class FileNotRead final : public std::exception {
 public:
  const char* what() const noexcept override { return "a file could not be read"; }
};

// The regular files in a directory, without links; none if it cannot be read. (The directory
// iterator of the standard library ends the process for lack of memory.)
struct ListedFile {
  std::string name;
  FileIdentity identity;
};
std::vector<ListedFile> ListFiles(const std::wstring& directory);

// Replaces the file's content by the pieces, one after the other. A new file gets the permissions
// that the umask leaves. A failure raises _com_error, which names the system call, the path and the
// reason. Returns the identity of the new file, none if it is not known.
FileIdentity ReplaceFile(const std::wstring& path, std::span<const std::string_view> content);
inline FileIdentity ReplaceFile(const std::wstring& path, std::string_view content) {
  return ReplaceFile(path, {&content, 1});
}

// Copies as OS::CopyFileW does, but an existing file at `path` keeps all its rights. A failure
// raises _com_error.
void RestoreFile(const std::wstring& copy, const std::wstring& path);

// Copies as OS::CopyFileW does, but only if `source` has that identity, also after it was copied.
bool CopyKnownFile(const std::wstring& source, const std::wstring& target,
                   const FileIdentity& identity);

// The failure of a call that must make a new file, where there is one already.
class FileExists : public _com_error {
 public:
  using _com_error::_com_error;
};

// Copies the file `source` to a new file at `path`. A file that another process makes there at the
// same time is not replaced. A failure raises _com_error.
void CopyToNewFile(const std::wstring& source, const std::wstring& path);
// Writes the content to such a file. It gets the rights that a copy of `source` would get; if
// `source` cannot be read, only its owner can open it.
void WriteNewFile(const std::wstring& path, std::string_view content, const std::wstring& source);

// Adds the name `path`, which must be new, to the regular file that `source` leads to. A failure
// raises _com_error.
void LinkToNewFile(const std::wstring& source, const std::wstring& path);
// Moves the regular file that `path` leads to to the path `aside`, which must be new, and copies
// `source` to its place. If the copy fails, the file is moved back. A failure raises _com_error.
void ReplaceAndKeep(const std::wstring& path, const std::wstring& source,
                    const std::wstring& aside);

}  // namespace cfgex::internal
