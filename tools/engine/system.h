// What the operator's command asks of the operating system.
#pragma once

#include <ctime>
#include <string>

namespace cfgex::internal {

enum class StandardStream { kInput, kOutput, kError };
bool IsTerminal(StandardStream stream) noexcept;

// Why ReadWholeFile fails on a file.
struct ReadFailure {
  bool is_missing = false;  // there is no such file
  std::wstring reason;      // in the system's words
};
ReadFailure WhyUnreadable(const std::wstring& path);

// All of standard input. Raises _com_error when it cannot be read.
std::string ReadStandardInput();

// The absolute path; the path itself if that cannot be found.
std::string AbsolutePath(const std::string& path);

// A time as people read it here, and as programs read it anywhere (ISO 8601, UTC).
std::string LocalTimeText(std::time_t time);
std::string UniversalTimeText(std::time_t time);

// A new directory in the system's place for temporary files, which nobody else may enter. It goes
// with the object, with all that is in it, and when SIGHUP, SIGINT or SIGTERM ends the process.
// Raises _com_error when there can be none. For processes whose threads all descend from the one
// that makes the first folder: it holds these signals back, and a thread of its own waits for them.
class PrivateFolder {
 public:
  PrivateFolder();
  ~PrivateFolder();
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  std::wstring Path(const std::wstring& name) const;

 private:
  std::string m_Path;
};

}  // namespace cfgex::internal
