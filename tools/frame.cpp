#include "tools/frame.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <iostream>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "tools/engine/system.h"
#include "tools/finding.h"

namespace cfgexctl {

const char* NameOf(ExitCode code) {
  switch (code) {
    case kOk:
      return "ok";
    case kInvalid:
      return "invalid";
    case kUsage:
      return "usage";
    case kMissing:
      return "missing";
    case kFailed:
      return "failed";
  }
  return "failed";
}

Stop::Stop(ExitCode exitCode, std::wstring text) : Stop(exitCode, std::move(text), {}) {}
Stop::Stop(ExitCode exitCode, std::wstring text, std::vector<Finding> found)
    : code(exitCode),
      message(std::move(text)),
      findings(std::move(found)),
      m_What(Narrow(message)) {}
Stop::Stop(const Stop&) = default;
Stop::~Stop() = default;

void Report::Line(std::wstring_view text) {
  m_Text += Narrow(text);
  m_Text += '\n';
}
void Report::Raw(std::string_view text) { m_Text += text; }
void Report::Note(std::wstring_view text) { m_Notes.emplace_back(text); }

namespace {

int Finish(ExitCode code) {
  std::cout.flush();
  if (std::cout) return code;
  std::cerr << "cfgexctl: the output cannot be written\n";
  return kFailed;
}

void PrintJson(const Json& data) {
  std::cout << data.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace

int Print(const Report& report, bool asJson) {
  if (!asJson) {
    std::cout << report.Text();
    std::cout.flush();
    for (const std::wstring& note : report.Notes())
      std::cerr << "cfgexctl: " << Narrow(note) << '\n';
    return Finish(report.code);
  }
  Json data = Json::object();
  data["result"] = NameOf(report.code);
  data.update(report.data);
  for (const std::wstring& note : report.Notes()) data["notes"].push_back(Narrow(note));
  PrintJson(data);
  return Finish(report.code);
}

int Print(const Stop& stop, bool asJson) {
  if (!asJson) {
    std::cerr << "cfgexctl: " << Narrow(stop.message) << '\n';
    for (const Finding& finding : stop.findings)
      std::cerr << "  " << Narrow(AsText(finding)) << '\n';
    return stop.code;
  }
  Json data = Json::object();
  data["result"] = NameOf(stop.code);
  data["error"] = Narrow(stop.message);
  if (!stop.findings.empty()) data["findings"] = AsJson(stop.findings);
  PrintJson(data);
  return Finish(stop.code);
}

// --- Text

std::string Narrow(std::wstring_view text) {
  try {
    return ToUtf8(text);
  } catch (const _com_error&) {
    return "?";
  }
}

std::wstring Wide(const std::string& argument) {
  try {
    return FromUtf8(argument);
  } catch (const _com_error&) {
    throw Stop(kUsage, L"an argument is not UTF-8");
  }
}

std::wstring OnOneLine(std::wstring_view text) {
  std::wstring result;
  for (const wchar_t character : text) {
    const auto code = static_cast<char32_t>(character);
    if (character == L'\n') {
      result += L"\\n";
    } else if (character == L'\t') {
      result += L"\\t";
    } else if (code < 0x20 || (code >= 0x7F && code < 0xA0)) {
      // Control characters are written as numbers, so that a terminal does not obey them.
      constexpr std::wstring_view kDigits = L"0123456789abcdef";
      result += L"\\x";
      result += kDigits[code >> 4U];
      result += kDigits[code & 15U];
    } else {
      result += character;
    }
  }
  return result;
}

std::wstring Quoted(std::wstring_view text) {
  constexpr std::size_t kLongest = 200;
  const bool whole = text.size() <= kLongest;
  std::wstring result = L"\"";
  for (const wchar_t character : OnOneLine(text.substr(0, kLongest))) {
    if (character == L'"') result += L'\\';
    result += character;
  }
  return result + (whole ? L"\"" : L"...\"");
}

std::wstring Counted(std::size_t count, std::wstring_view one, std::wstring_view many) {
  std::wstring text = std::to_wstring(count);
  text += L' ';
  text += count == 1 ? one : many;
  return text;
}

// --- Progress

namespace {
std::atomic<bool> g_ProgressIsShown{false};
}  // namespace

Progress::Progress(std::string what) : m_What(std::move(what)) {
  if (IsTerminal(StandardStream::kError) && !g_ProgressIsShown.exchange(true))
    m_Thread = std::thread(&Progress::Run, this);
}

Progress::~Progress() {
  if (!m_Thread.joinable()) return;
  {
    const std::lock_guard lock(m_Mutex);
    m_Done = true;
  }
  m_Wake.notify_all();
  m_Thread.join();
  g_ProgressIsShown = false;
}

void Progress::Run() {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::milliseconds kStep(200);
  constexpr std::array<char, 4> kTurns = {'|', '/', '-', '\\'};
  const Clock::time_point start = Clock::now();
  std::unique_lock lock(m_Mutex);
  bool shown = false;
  for (std::size_t turn = 0; !m_Wake.wait_for(lock, kStep, [this] { return m_Done; }); ++turn) {
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
    if (passed.count() < 1) continue;
    shown = true;
    std::fprintf(stderr, "\r%c %s, %lld s", kTurns[turn % kTurns.size()], m_What.c_str(),
                 static_cast<long long>(passed.count()));
    std::fflush(stderr);
  }
  if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace cfgexctl
