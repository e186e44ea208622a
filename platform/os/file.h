// Files: read whole, replaced whole.
//
// Every file that is written is made as a new file beside its target, flushed to the disk and
// renamed over it, and then the directory is flushed, so that after a crash the target holds its
// old or its new content. Permissions, owner, access list and user attributes of an existing target
// are kept as far as the process may set them (see file_rights.h), and a symbolic link at the
// target keeps pointing to the file that it names, which is the one replaced, or made if it is
// missing. Where the directory takes no new file, or none in the target's place, but the target can
// be written and has no other name, the target is written in place. A failure leaves the target as
// it was (in place: as far as the writing came; if it was the flush of the directory that failed:
// new) and no new file.
//
// Only regular files are read and replaced, and a target that the process may not write is not
// replaced either. Nothing waits for another process. Several writers, in threads or processes, may
// replace one target at once: each leaves a whole file, the last one's stays. (In place
// this does not hold.)
//
// While it is made the new file of NAME is called .NAME.cfgex-new, or .NAME.cfgex-new-1 and so on
// while other writers are at work. One that a crash left behind is removed by the next write. Where
// each target has a name of its own, as a number in it, nothing would be written again: such
// targets have a `family`, a name that stands for NAME.
//
// Want of memory is no failure: it raises std::bad_alloc everywhere.
//
// Paths are wide and become UTF-8 bytes, whatever the locale. One with a null character, or with
// what is no character, is refused.
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

// Copies a file's content over `target`, as above, but for its rights: nobody can read the target
// afterwards who cannot read the source. It gets owner, group, access list and permissions of the
// source, less the umask, or what an existing target's permissions do not have; and it can be read
// and written by its owner. A target that lets in more, and has to be written in place, is narrowed
// or refused. False on failure. With `failIfExists`, which the library never sets, an existing
// target is a failure; without it, a target that is the source itself is left alone, which counts
// as done.
bool CopyFileW(const std::wstring& source, const std::wstring& target, bool failIfExists);

}  // namespace OS

namespace cfgex::internal {

// The largest file that is read, in bytes: what the engine takes as one text.
inline constexpr std::size_t kLargestFile = 0x7fffffff;

// Tells one state of a file from its other states and from other files: device, inode, size, time
// of the content's and of the file's last change. All zero where there is none.
using FileIdentity = std::array<long long, 7>;

struct FileState {
  FileIdentity identity{};
  // Whether every later change shows in the identity. The clock that stamps files goes in steps of
  // some milliseconds; what changes a file in place within one of them may leave the identity.
  bool isSettled = false;
};

// How the reading of a file ends.
enum class Reading {
  kDone,
  kMissing,   // there is nothing at the path
  kTooLarge,  // larger than kLargestFile
  // Nothing was learned of the content: a call failed, the file was written meanwhile, or the path
  // leads to what is no regular file or by a symbolic link to nothing.
  kFailed
};

// The content of a regular file, and its state at that time if `state` is given; both are unchanged
// unless all of it was read. Raises std::bad_alloc.
Reading ReadWholeFile(const std::wstring& path, std::string& content, FileState* state = nullptr);

// Whether there is nothing at the path. A symbolic link that leads nowhere is something.
bool IsMissing(const std::wstring& path);

// What those raise who must know a file's content and met Reading::kFailed. No _com_error: the rule
// for failures of the platform would make a verdict on the file of it.
class FileNotRead final : public std::exception {
 public:
  const char* what() const noexcept override { return "a file could not be read"; }
};

// The regular files in a directory, links left out; none if it cannot be read. (The directory
// iterator of the standard library ends the process for want of memory.)
struct ListedFile {
  std::string name;
  FileIdentity identity;
};
std::vector<ListedFile> ListFiles(const std::wstring& directory);

// Replaces the file's content, which is given in one piece or several; a new file gets the
// permissions that the umask leaves. A failure raises _com_error, which names the system call, the
// path and the reason. Gives the identity of the new file, none if it cannot be told.
FileIdentity ReplaceFile(const std::wstring& path, std::span<const std::string_view> content);
inline FileIdentity ReplaceFile(const std::wstring& path, std::string_view content) {
  return ReplaceFile(path, {&content, 1});
}

// Copies back: as OS::CopyFileW, but an existing file at `path` keeps all its rights. A failure
// raises _com_error.
void RestoreFile(const std::wstring& copy, const std::wstring& path);

// Copies as OS::CopyFileW does, but only if `source` is the file of that identity, and stays so
// while it is copied.
bool CopyKnownFile(const std::wstring& source, const std::wstring& target,
                   const FileIdentity& identity);

// What is raised when the path of a file that must be new is taken.
class FileExists : public _com_error {
 public:
  using _com_error::_com_error;
};

// Makes a file at `path`, which must be new: nobody else's is replaced, whoever makes one there at
// the same time. It has the content of the file `source`. A failure raises _com_error.
void CopyToNewFile(const std::wstring& source, const std::wstring& path,
                   const std::wstring& family);
// The same with content that belongs to the file `source`: the new file gets the rights that a copy
// of that would get, and is its owner's alone if `source` cannot be read.
void WriteNewFile(const std::wstring& path, std::string_view content, const std::wstring& source,
                  const std::wstring& family);

// Gives the regular file that `source` names in the end one more name, which must be new. A failure
// raises _com_error.
void LinkToNewFile(const std::wstring& source, const std::wstring& path);
// Moves the regular file that `path` names in the end to the path `aside`, which must be new, and
// makes a copy of `source` in its place. It is moved back if that cannot be done. A failure raises
// _com_error.
void ReplaceAndKeep(const std::wstring& path, const std::wstring& source,
                    const std::wstring& aside);

}  // namespace cfgex::internal
