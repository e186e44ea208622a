#include "platform/os/file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <new>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/file_calls.h"
#include "platform/os/file_replace.h"

namespace cfgex {

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

std::string ReadAll(const std::string& path) {
  constexpr std::size_t kLargestStep = std::size_t{64} << 20;
  struct stat status;
  const Descriptor file = OpenSource(path, status);
  if (static_cast<std::size_t>(status.st_size) > kLargestFile) RaiseErrno("read", path, EFBIG);
  // The size told is where to start; the end is where reading says it is.
  std::size_t step = static_cast<std::size_t>(status.st_size) + 1;
  std::string content;
  std::size_t filled = 0;
  for (;;) {
    if (filled == content.size()) {
      if (filled > kLargestFile) RaiseErrno("read", path, EFBIG);
      content.resize(filled + std::clamp(step, std::size_t{4096}, kLargestStep));
      step = content.size();
    }
    const std::size_t count =
        ReadSome(file.Get(), content.data() + filled, content.size() - filled, path);
    if (count == 0) break;
    filled += count;
  }
  if (filled > kLargestFile) RaiseErrno("read", path, EFBIG);
  content.resize(filled);
  return content;
}

void CopyContent(int from, const std::string& source, int to, const std::string& target) {
  // From the start, in case this is the second way that is tried.
  if (file_calls::Seek(from, 0) != 0) RaiseErrno("lseek", source, errno);
  constexpr std::size_t kStep = 65536;
  std::array<char, kStep> buffer;
  for (;;) {
    const std::size_t count = ReadSome(from, buffer.data(), buffer.size(), source);
    if (count == 0) return;
    const std::string_view piece(buffer.data(), count);
    WriteFully(to, {&piece, 1}, target);
  }
}

constexpr mode_t kOwner = S_IRUSR | S_IWUSR;

// A copy is no more open to others than its source. Its owner can write it, so that the next copy
// can replace it.
mode_t ModeOfCopy(const struct stat& source) noexcept {
  return (source.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) | kOwner;
}

void Copy(const std::string& source, const std::string& target, bool failIfExists,
          const std::string& family) {
  struct stat opened;
  const Descriptor from = OpenSource(source, opened);
  const std::string resolved = FollowLinks(target);
  struct stat existing;
  const bool same = file_calls::LinkStatus(resolved.c_str(), existing) == 0 &&
                    existing.st_dev == opened.st_dev && existing.st_ino == opened.st_ino;
  if (same && !failIfExists) return;
  ReplaceContent(
      resolved, ModeOfCopy(opened), failIfExists,
      [&](int to) { CopyContent(from.Get(), source, to, resolved); }, family);
}

void Replace(const std::wstring& path, std::span<const std::string_view> content, mode_t newMode,
             const std::wstring& family) {
  const std::string target = FollowLinks(PathBytes(path));
  ReplaceContent(
      target, newMode, false, [&](int descriptor) { WriteFully(descriptor, content, target); },
      PathBytes(family));
}

}  // namespace

bool ReadWholeFile(const std::wstring& path, std::string& content) noexcept {
  try {
    content = ReadAll(PathBytes(path));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

void ReplaceFile(const std::wstring& path, std::span<const std::string_view> content,
                 const std::wstring& family) {
  try {
    constexpr mode_t kEverybody = kOwner | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
    Replace(path, content, kEverybody, family);
  } catch (const std::bad_alloc&) {
    throw _com_error(_com_error::kOutOfMemory, "ReplaceFile");
  }
}

void ReplaceFileAsCopy(const std::wstring& path, std::string_view content,
                       const std::wstring& source, const std::wstring& family) {
  try {
    struct stat status;
    const Descriptor from = [&] {
      try {
        return OpenSource(PathBytes(source), status);
      } catch (const _com_error&) {
        return Descriptor();
      }
    }();
    Replace(path, {&content, 1}, from.IsOpen() ? ModeOfCopy(status) : kOwner, family);
  } catch (const std::bad_alloc&) {
    throw _com_error(_com_error::kOutOfMemory, "ReplaceFileAsCopy");
  }
}

}  // namespace cfgex

namespace OS {

bool CopyFileW(const std::wstring& source, const std::wstring& target, bool failIfExists,
               const std::wstring& family) noexcept {
  try {
    cfgex::Copy(cfgex::PathBytes(source), cfgex::PathBytes(target), failIfExists,
                cfgex::PathBytes(family));
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

}  // namespace OS
