#include "cfgex/os_string.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <memory>
#include <new>

namespace OS {

namespace {

// The format with an "l" before each "s" and "c" without a length modifier: in the C library "%s"
// is a narrow string.
std::wstring WithWideTexts(const wchar_t* format) {
  std::wstring result;
  while (*format != L'\0') {
    result += *format;
    if (*format++ != L'%') continue;
    const std::size_t span = std::wcsspn(format, L"0123456789$*.+- #'I");
    result.append(format, span);
    format += span;
    if (*format == L's' || *format == L'c') result += L'l';
    // The conversion itself, so that the second sign of "%%" starts nothing.
    if (*format != L'\0') result += *format++;
  }
  return result;
}

struct StreamCloser {
  void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

// Formats into a stream in memory: unlike vswprintf, it fails only if the format does.
std::wstring FormatLong(const wchar_t* format, std::va_list arguments) {
  wchar_t* text = nullptr;
  std::size_t length = 0;
  std::unique_ptr<std::FILE, StreamCloser> stream(::open_wmemstream(&text, &length));
  if (stream == nullptr) throw std::bad_alloc();
  const bool formatted = std::vfwprintf(stream.get(), format, arguments) >= 0;
  // The text is complete only once the stream is closed.
  const bool closed = std::fclose(stream.release()) == 0;
  const std::unique_ptr<wchar_t, decltype(&std::free)> owner(text, &std::free);
  if (!closed || text == nullptr) throw std::bad_alloc();
  if (!formatted) return {};
  return std::wstring(text, length);
}

}  // namespace

void x_wstring::Format(const wchar_t* format, ...) {
  if (format == nullptr) {
    m_Text.clear();
    return;
  }
  const std::wstring wideFormat = WithWideTexts(format);
  std::wstring result;
  std::va_list arguments;
  va_start(arguments, format);
  std::va_list again;
  va_copy(again, arguments);
  try {
    wchar_t buffer[512];
    const int length = std::vswprintf(buffer, std::size(buffer), wideFormat.c_str(), arguments);
    if (length >= 0) {
      result.assign(buffer, static_cast<std::size_t>(length));
    } else {
      result = FormatLong(wideFormat.c_str(), again);
    }
  } catch (...) {
    va_end(again);
    va_end(arguments);
    throw;
  }
  va_end(again);
  va_end(arguments);
  m_Text = std::move(result);
}

}  // namespace OS
