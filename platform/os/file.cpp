#include "platform/os/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/file_calls.h"
#include "platform/os/file_replace.h"

namespace cfgex::internal {

namespace {

using file_calls::Descriptor;
using file_calls::RaiseErrno;

std::string PathBytes(const std::wstring& path) {
  if (path.find(L'\0') != std::wstring::npos) {
    throw _com_error(_com_error::kInvalidArgument, "path: a null character");
  }
  return ToUtf8(path);
}

// Opens a regular file for reading. Anything else is refused, and none of it keeps the caller
// waiting.
Descriptor OpenSource(const std::string& path, struct stat& status) {
  Descriptor file(file_calls::Open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) RaiseErrno("open", path, errno);
  if (file_calls::Status(file.Get(), status) != 0) RaiseErrno("fstat", path, errno);
  if (!S_ISREG(status.st_mode)) RaiseErrno("open", path, S_ISDIR(status.st_mode) ? EISDIR : EINVAL);
  return file;
}

// As many bytes as one call gives; 0 at the end.
std::size_t ReadSome(int descriptor, char* buffer, std::size_t size, const std::string& path) {
  ssize_t count = 0;
  do {
    count = file_calls::Read(descriptor, buffer, size);
  } while (count < 0 && errno == EINTR);
  if (count < 0) RaiseErrno("read", path, errno);
  return static_cast<std::size_t>(count);
}

Reading ReadAll(const std::string& path, std::string& result, FileState* state) {
  constexpr std::size_t kLargestStep = std::size_t{64} << 20;
  const timespec start = file_calls::FileTime();
  struct stat status;
  const Descriptor file = OpenSource(path, status);
  if (static_cast<std::size_t>(status.st_size) > kLargestFile) return Reading::kTooLarge;
  // The size told is where to start; the end is where reading says it is.
  std::size_t step = static_cast<std::size_t>(status.st_size) + 1;
  std::string content;
  std::size_t filled = 0;
  for (;;) {
    if (filled == content.size()) {
      if (filled > kLargestFile) return Reading::kTooLarge;
      content.resize(filled + std::clamp(step, std::size_t{4096}, kLargestStep));
      step = content.size();
    }
    const std::size_t count =
        ReadSome(file.Get(), content.data() + filled, content.size() - filled, path);
    if (count == 0) break;
    filled += count;
  }
  if (filled > kLargestFile) return Reading::kTooLarge;
  content.resize(filled);
  const FileIdentity before = file_calls::IdentityOf(status);
  if (file_calls::Status(file.Get(), status) != 0) RaiseErrno("fstat", path, errno);
  const FileIdentity after = file_calls::IdentityOf(status);
  // Size and time of the content. A file that was only replaced meanwhile was read whole.
  if (!std::equal(before.begin() + 2, before.begin() + 5, after.begin() + 2))
    return Reading::kFailed;
  if (state != nullptr) *state = {after, file_calls::IsOlder(after, start)};
  result = std::move(content);
  return Reading::kDone;
}

void CopyContent(int from, const std::string& source, int to, const std::string& target) {
  // From the start, in case this is the second way that is tried.
  if (file_calls::Seek(from, 0) != 0) RaiseErrno("lseek", source, errno);
  constexpr std::size_t kStep = 65536;
  std::string buffer(kStep, '\0');  // not on the stack, which may be a small one
  for (;;) {
    const std::size_t count = ReadSome(from, buffer.data(), buffer.size(), source);
    if (count == 0) return;
    const std::string_view piece(buffer.data(), count);
    WriteFully(to, {&piece, 1}, target);
  }
}

// What an existing file has stays.
std::optional<FileRights> Present(const std::optional<FileRights>& present) { return present; }

// A copy over an existing file takes away what the source does not have, and gives it nothing.
RightsChooser ForCopyOf(const FileRights& source) {
  return [source](const std::optional<FileRights>& present) {
    return RightsOfCopy(source, present ? present->mode : ~Umask());
  };
}

// Raises _com_error if the open file is not the one of that identity.
void RequireIdentity(int descriptor, const std::string& path, const FileIdentity& identity) {
  struct stat status;
  if (file_calls::Status(descriptor, status) != 0) RaiseErrno("fstat", path, errno);
  if (file_calls::IdentityOf(status) != identity) RaiseErrno("copy", path, ESTALE);
}

enum class Over { kNothing, kOldCopy, kOriginal };

// `identity`: null for any.
void Copy(const std::string& source, const std::string& target, Over over,
          const std::string& family = {}, const FileIdentity* identity = nullptr) {
  struct stat opened;
  const Descriptor from = OpenSource(source, opened);
  if (identity != nullptr) RequireIdentity(from.Get(), source, *identity);
  const bool mustBeNew = over == Over::kNothing;
  const std::string resolved = mustBeNew ? target : FollowLinks(target);
  struct stat existing;
  const bool same = file_calls::LinkStatus(resolved.c_str(), existing) == 0 &&
                    existing.st_dev == opened.st_dev && existing.st_ino == opened.st_ino;
  if (same && !mustBeNew) return;
  const RightsChooser forCopy = ForCopyOf(RightsOf(from.Get(), source));
  ReplaceContent(
      resolved, mustBeNew,
      [&](const std::optional<FileRights>& present) {
        return present && over == Over::kOriginal ? present : forCopy(present);
      },
      [&](int to) {
        CopyContent(from.Get(), source, to, resolved);
        if (identity != nullptr) RequireIdentity(from.Get(), source, *identity);
      },
      family);
}

}  // namespace

Reading ReadWholeFile(const std::wstring& path, std::string& content, FileState* state) {
  try {
    return ReadAll(PathBytes(path), content, state);
  } catch (const _com_error&) {
    return IsMissing(path) ? Reading::kMissing : Reading::kFailed;
  }
}

bool IsMissing(const std::wstring& path) {
  if (path.empty()) return true;
  try {
    struct stat status;
    return file_calls::LinkStatus(PathBytes(path).c_str(), status) != 0 &&
           (errno == ENOENT || errno == ENOTDIR);
  } catch (const _com_error&) {
    return false;
  }
}

std::vector<ListedFile> ListFiles(const std::wstring& directory) {
  std::vector<ListedFile> files;
  struct Closer {
    void operator()(DIR* c_directory) const noexcept { ::closedir(c_directory); }
  };
  const std::unique_ptr<DIR, Closer> opened(::opendir(PathBytes(directory).c_str()));
  if (opened == nullptr && errno == ENOMEM) throw std::bad_alloc();
  if (opened == nullptr) return files;
  while (const dirent* entry = ::readdir(opened.get())) {
    struct stat status;
    if (::fstatat(::dirfd(opened.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
        S_ISREG(status.st_mode))
      files.push_back({entry->d_name, file_calls::IdentityOf(status)});
  }
  return files;
}

FileIdentity ReplaceFile(const std::wstring& path, std::span<const std::string_view> content) {
  const std::string target = FollowLinks(PathBytes(path));
  return ReplaceContent(target, false, Present,
                        [&](int descriptor) { WriteFully(descriptor, content, target); });
}

bool CopyKnownFile(const std::wstring& source, const std::wstring& target,
                   const FileIdentity& identity) {
  try {
    Copy(PathBytes(source), PathBytes(target), Over::kOldCopy, {}, &identity);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

void RestoreFile(const std::wstring& copy, const std::wstring& path) {
  Copy(PathBytes(copy), PathBytes(path), Over::kOriginal);
}

void CopyToNewFile(const std::wstring& source, const std::wstring& path,
                   const std::wstring& family) {
  Copy(PathBytes(source), PathBytes(path), Over::kNothing, PathBytes(family));
}

void WriteNewFile(const std::wstring& path, std::string_view content, const std::wstring& source,
                  const std::wstring& family) {
  FileRights rights;
  rights.owner = ::geteuid();
  rights.group = ::getegid();
  try {
    struct stat status;
    rights = RightsOf(OpenSource(PathBytes(source), status).Get(), PathBytes(source));
  } catch (const _com_error&) {  // NOLINT(bugprone-empty-catch): then it is its owner's alone
  }
  const std::string target = PathBytes(path);
  ReplaceContent(
      target, true, ForCopyOf(rights),
      [&](int descriptor) {
        WriteFully(descriptor, {&content, 1}, target);
      },
      PathBytes(family));
}

void LinkToNewFile(const std::wstring& source, const std::wstring& path) {
  LinkToNew(FollowLinks(PathBytes(source)), PathBytes(path));
}

void ReplaceAndKeep(const std::wstring& path, const std::wstring& source,
                    const std::wstring& aside) {
  const std::string place = FollowLinks(PathBytes(path));
  const std::string kept = PathBytes(aside);
  RenameToNew(place, kept);
  try {
    Copy(PathBytes(source), place, Over::kNothing);
  } catch (const FileExists&) {  // by now somebody else has made a file there
    RaiseErrno("rename", place, EBUSY);
  } catch (const std::exception&) {
    file_calls::RenameToNew(kept.c_str(), place.c_str());
    throw;
  }
}

}  // namespace cfgex::internal

namespace OS {

bool CopyFileW(const std::wstring& source, const std::wstring& target, bool failIfExists) {
  using namespace cfgex::internal;
  try {
    Copy(PathBytes(source), PathBytes(target), failIfExists ? Over::kNothing : Over::kOldCopy);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

}  // namespace OS
