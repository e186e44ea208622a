// Files: read whole, replaced whole.
//
// Every file that is written is made as a new file beside its target, flushed to the disk and
// renamed over it, and then the directory is flushed, so that after a crash the target holds its
// old or its new content. Permissions and owner of an existing target are kept (the owner as
// far as the process may set it), and a symbolic link at the target keeps pointing to the file that
// it names, which is the one replaced, or made if it is missing. Where the directory takes no new
// file, or none in the target's place, but the target can be written, the target is written in
// place. A failure leaves the target as it was (in place: as far as the writing came; if it was the
// flush of the directory that failed: new) and no new file.
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
// Paths are wide and become UTF-8 bytes, whatever the locale. One with a null character, or with
// what is no character, is refused.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace OS {

// Copies a file's content over `target`, as above. A new target gets the permissions of the
// source, less the umask, and can be read and written by its owner. False on failure. With
// `failIfExists`, which the library never sets, an existing target is a failure; without it, a
// target that is the source itself is left alone, which counts as done.
bool CopyFileW(const std::wstring& source, const std::wstring& target, bool failIfExists,
               const std::wstring& family = {}) noexcept;

}  // namespace OS

namespace cfgex {

// The largest file that is read, in bytes: what the engine takes as one text.
inline constexpr std::size_t kLargestFile = 0x7fffffff;

// The content of a regular file. False, and `content` unchanged, when it cannot be read or is
// larger than kLargestFile.
bool ReadWholeFile(const std::wstring& path, std::string& content) noexcept;
// Replaces the file's content, which is given in one piece or several; a new file gets the
// permissions that the umask leaves. A failure raises _com_error, which names the system call, the
// path and the reason.
void ReplaceFile(const std::wstring& path, std::span<const std::string_view> content,
                 const std::wstring& family = {});
inline void ReplaceFile(const std::wstring& path, std::string_view content,
                        const std::wstring& family = {}) {
  ReplaceFile(path, {&content, 1}, family);
}

// The same with content that belongs to the file `source`: a new file gets the permissions that a
// copy of that would get, and is its owner's alone if `source` cannot be read.
void ReplaceFileAsCopy(const std::wstring& path, std::string_view content,
                       const std::wstring& source, const std::wstring& family);

}  // namespace cfgex
