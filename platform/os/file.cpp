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

// Opens a regular file for reading. Anything else is refused without waiting for it.
Descriptor OpenSource(const std::string& path, struct stat& status) {
  Descriptor file(file_calls::Open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) RaiseErrno("open", path, errno);
  status = file_calls::StatusOf(file.Get(), path);
  file_calls::RequireRegular(status, path);
  return file;
}

// The number of bytes that one call reads; 0 at the end.
std::size_t ReadSome(int descriptor, char* buffer, std::size_t size, const std::string& path) {
  const ssize_t count = file_calls::Read(descriptor, buffer, size);
  if (count < 0) RaiseErrno("read", path, errno);
  return static_cast<std::size_t>(count);
}

Reading ReadAll(const std::string& path, std::string& result, FileState* state) {
  const timespec start = file_calls::FileTime();
  struct stat status;
  const Descriptor file = OpenSource(path, status);
  if (static_cast<std::size_t>(status.st_size) > kLargestFile) return Reading::kTooLarge;
  // The size in the status is a first guess: some files have another, or none.
  constexpr std::size_t kLeast = 4096, kLargestStep = std::size_t{64} << 20;
  std::string content(
      std::clamp(static_cast<std::size_t>(status.st_size) + 1, kLeast, kLargestStep), '\0');
  std::size_t filled = 0;
  while (const std::size_t count =
             ReadSome(file.Get(), content.data() + filled, content.size() - filled, path)) {
    filled += count;
    if (filled > kLargestFile) return Reading::kTooLarge;
    if (filled == content.size()) content.resize(filled + std::min(filled, kLargestStep));
  }
  content.resize(filled);
  const FileIdentity before = file_calls::IdentityOf(status);
  const FileIdentity after = file_calls::IdentityOf(file_calls::StatusOf(file.Get(), path));
  // Size and time of the content. A file that was only replaced meanwhile was read whole.
  if (!std::equal(before.begin() + 2, before.begin() + 5, after.begin() + 2))
    return Reading::kFailed;
  if (state != nullptr) *state = {after, file_calls::IsOlder(after, start)};
  result = std::move(content);
  return Reading::kDone;
}

void CopyContent(int from, const std::string& source, int to, const std::string& target) {
  // From the start: this may be the second try, in place.
  if (file_calls::Seek(from, 0, SEEK_SET) != 0) RaiseErrno("lseek", source, errno);
  constexpr std::size_t kStep = 65536;
  std::string buffer(kStep, '\0');  // not on the stack, which may be a small one
  for (;;) {
    const std::size_t count = ReadSome(from, buffer.data(), buffer.size(), source);
    if (count == 0) return;
    const std::string_view piece(buffer.data(), count);
    WriteFully(to, {&piece, 1}, target);
  }
}

// `identity`: null for any.
void Copy(const std::string& source, std::string target, Over over,
          const FileIdentity* identity = nullptr) {
  struct stat opened;
  const Descriptor from = OpenSource(source, opened);
  const auto requireIdentity = [&] {
    if (identity != nullptr &&
        file_calls::IdentityOf(file_calls::StatusOf(from.Get(), source)) != *identity)
      RaiseErrno("copy", source, ESTALE);
  };
  requireIdentity();
  if (!MustBeNew(over)) {
    target = FollowLinks(target);
    struct stat existing;
    if (file_calls::LinkStatus(target.c_str(), existing) == 0 && existing.st_dev == opened.st_dev &&
        existing.st_ino == opened.st_ino)
      return;
  }
  ReplaceContent(target, over, RightsOf(from.Get(), source), [&](int to) {
    CopyContent(from.Get(), source, to, target);
    requireIdentity();
  });
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
  return ReplaceContent(target, Over::kOriginal, std::nullopt,
                        [&](int descriptor) { WriteFully(descriptor, content, target); });
}

bool CopyKnownFile(const std::wstring& source, const std::wstring& target,
                   const FileIdentity& identity) {
  try {
    Copy(PathBytes(source), PathBytes(target), Over::kCopy, &identity);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

void RestoreFile(const std::wstring& copy, const std::wstring& path) {
  Copy(PathBytes(copy), PathBytes(path), Over::kOriginal);
}

void CopyToNewFile(const std::wstring& source, const std::wstring& path) {
  Copy(PathBytes(source), PathBytes(path), Over::kNothingOnce);
}

void WriteNewFile(const std::wstring& path, std::string_view content, const std::wstring& source) {
  FileRights rights{::geteuid(), ::getegid(), 0, {}, {}};
  try {
    struct stat status;
    rights = RightsOf(OpenSource(PathBytes(source), status).Get(), PathBytes(source));
  } catch (const _com_error&) {  // NOLINT(bugprone-empty-catch): then it is its owner's alone
  }
  const std::string target = PathBytes(path);
  ReplaceContent(target, Over::kNothingOnce, rights, [&](int descriptor) {
    WriteFully(descriptor, {&content, 1}, target);
  });
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
    Copy(PathBytes(source), PathBytes(target), failIfExists ? Over::kNothing : Over::kCopy);
    return true;
  } catch (const _com_error&) {
    return false;
  }
}

}  // namespace OS
