// What all commands share: how they end, what they say, and how they show that they are at work.
//
// A command fills a Report, or throws Stop. The report has text for people and JSON for scripts;
// one of them is printed at the end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace cfgex::internal {}

namespace cfgexctl {

using namespace cfgex::internal;

using Json = nlohmann::ordered_json;

// The numbers are fixed: scripts rely on them.
enum ExitCode {
  kOk = 0,
  kInvalid = 1,  // the schema, the file, or what was to be stored breaks a rule
  kUsage = 2,    // the command line is not understood
  kMissing = 3,  // a file, category, instance or field is not there
  kFailed = 4,   // the system failed: no permission, no space, no memory
};
const char* NameOf(ExitCode code);

struct Finding;

// Ends a command: the reason, and the faults that explain it, if there are any.
class Stop : public std::exception {
 public:
  Stop(ExitCode code, std::wstring message);
  Stop(ExitCode code, std::wstring message, std::vector<Finding> findings);
  Stop(const Stop&);
  ~Stop() override;

  const char* what() const noexcept override { return m_What.c_str(); }

  ExitCode code;
  std::wstring message;
  std::vector<Finding> findings;

 private:
  std::string m_What;
};

// What a command prints.
class Report {
 public:
  ExitCode code = kOk;
  Json data = Json::object();

  void Line(std::wstring_view text);  // one line for people
  void Raw(std::string_view text);    // bytes as they are
  void Note(std::wstring_view text);  // beside the answer: to stderr, or among the JSON's "notes"

  const std::string& Text() const { return m_Text; }
  const std::vector<std::wstring>& Notes() const { return m_Notes; }

 private:
  std::string m_Text;
  std::vector<std::wstring> m_Notes;
};

// Prints the report, or the reason for a stop, and returns the exit code: kFailed if the output
// could not be written.
int Print(const Report& report, bool asJson);
int Print(const Stop& stop, bool asJson);

// --- Text

std::string Narrow(std::wstring_view text);      // UTF-8
std::wstring Wide(const std::string& argument);  // Stop(kUsage) for what is not UTF-8
std::wstring Quoted(std::wstring_view text);     // in double quotes, on one line, shortened
std::wstring OnOneLine(std::wstring_view text);  // control characters written as \n, \t, \x..
std::wstring Counted(std::size_t count, std::wstring_view one, std::wstring_view many);

// --- Progress

// Shows on a terminal what is being done, if it takes more than a second. Of several at once the
// first one shows.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

 private:
  void Run();

  std::string m_What;
  std::mutex m_Mutex;
  std::condition_variable m_Wake;
  bool m_Done = false;
  std::thread m_Thread;
};

}  // namespace cfgexctl
