#include "tools/engine/system.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>

#include "platform/dom/fault_rules.h"
#include "platform/os/encoding.h"
#include "platform/os/file_calls.h"

namespace cfgex::internal {
namespace {

int DescriptorOf(StandardStream stream) noexcept {
  switch (stream) {
    case StandardStream::kInput:
      return STDIN_FILENO;
    case StandardStream::kOutput:
      return STDOUT_FILENO;
    case StandardStream::kError:
      return STDERR_FILENO;
  }
  return -1;
}

ReadFailure Failure(int error) {
  return {error == ENOENT || error == ENOTDIR,
          LenientText(std::generic_category().message(error).c_str())};
}

}  // namespace

bool IsTerminal(StandardStream stream) noexcept { return ::isatty(DescriptorOf(stream)) == 1; }

ReadFailure WhyUnreadable(const std::wstring& path) {
  const std::string bytes = ToUtf8(path);
  const file_calls::Descriptor file(
      file_calls::Open(bytes.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY));
  if (!file.IsOpen()) return Failure(errno);
  struct stat status {};
  if (file_calls::Status(file.Get(), status) != 0) return Failure(errno);
  if (S_ISDIR(status.st_mode)) return Failure(EISDIR);
  if (!S_ISREG(status.st_mode)) return {false, L"Not a regular file"};
  char byte = 0;
  if (file_calls::Read(file.Get(), &byte, 1) < 0) return Failure(errno);
  return {false, L"Cannot be read, or has 2 GiB or more"};
}

std::string ReadStandardInput() {
  std::string content;
  std::array<char, 65536> buffer;
  for (;;) {
    const ssize_t count = file_calls::Read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) file_calls::RaiseErrno("read", "standard input", errno);
    if (count == 0) return content;
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
}

std::string AbsolutePath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path absolute = std::filesystem::absolute(path, error);
  return error ? path : absolute.lexically_normal().string();
}

namespace {

std::string TimeText(const std::tm& fields, const char* format) {
  std::array<char, 64> text{};
  return {text.data(), std::strftime(text.data(), text.size(), format, &fields)};
}

}  // namespace

std::string LocalTimeText(std::time_t time) {
  std::tm fields{};
  ::localtime_r(&time, &fields);
  return TimeText(fields, "%Y-%m-%d %H:%M:%S");
}

std::string UniversalTimeText(std::time_t time) {
  std::tm fields{};
  ::gmtime_r(&time, &fields);
  return TimeText(fields, "%Y-%m-%dT%H:%M:%SZ");
}

namespace {

// The folders that are there, and what happens to them when a signal ends the process. A handler
// could not remove them, so a thread waits for the signals.
class Folders {
 public:
  // Never destroyed: the thread that waits may outlive main().
  static Folders& Get() {
    static Folders& folders = *new Folders;
    return folders;
  }

  void Add(std::string& path) {
    const std::lock_guard lock(m_Lock);
    if (::mkdtemp(path.data()) == nullptr) file_calls::RaiseErrno("mkdtemp", path, errno);
    m_Paths.insert(path);
  }
  void Remove(const std::string& path) {
    const std::lock_guard lock(m_Lock);
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
    m_Paths.erase(path);
  }

 private:
  Folders() {
    ::sigemptyset(&m_Signals);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
      struct sigaction action {};
      // One that is ignored (nohup) is not waited for: it would arrive here.
      if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_DFL)
        ::sigaddset(&m_Signals, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &m_Signals, nullptr);
    std::thread([this] { Wait(); }).detach();
  }

  // Keeps the lock to the end, so that no folder is made or removed any more. The process then ends
  // by the signal, and not because another thread misses its files.
  void Wait() {
    int signal = 0;
    if (::sigwait(&m_Signals, &signal) != 0) return;
    m_Lock.lock();
    for (const std::string& path : m_Paths) {
      std::error_code error;
      for (int attempt = 0; attempt < 100; ++attempt) {  // files may still be made in it
        std::filesystem::remove_all(path, error);
        if (!error) break;
      }
    }
    ::pthread_sigmask(SIG_UNBLOCK, &m_Signals, nullptr);
    ::raise(signal);
  }

  std::mutex m_Lock;
  std::set<std::string> m_Paths;
  sigset_t m_Signals{};
};

}  // namespace

PrivateFolder::PrivateFolder() {
  std::error_code error;
  const std::filesystem::path place = std::filesystem::temp_directory_path(error);
  m_Path = ((error ? std::filesystem::path("/tmp") : place) / "cfgexctl-XXXXXX").string();
  Folders::Get().Add(m_Path);
}

PrivateFolder::~PrivateFolder() { Folders::Get().Remove(m_Path); }

std::wstring PrivateFolder::Path(const std::wstring& name) const {
  return FromUtf8(m_Path) + L"/" + name;
}

}  // namespace cfgex::internal
