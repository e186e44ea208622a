#include "cfgex/os_string.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
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

}  // namespace

void x_wstring::Format(const wchar_t* format, ...) {
  if (format == nullptr) {
    m_Text.clear();
    return;
  }
  const std::wstring wideFormat = WithWideTexts(format);
  // A stream in memory: unlike vswprintf, it fails only if the format does. Then the text is empty.
  wchar_t* text = nullptr;
  std::size_t length = 0;
  std::FILE* stream = ::open_wmemstream(&text, &length);
  if (stream == nullptr) throw std::bad_alloc();
  std::va_list arguments;
  va_start(arguments, format);
  const bool formatted = std::vfwprintf(stream, wideFormat.c_str(), arguments) >= 0;
  va_end(arguments);
  // The text is complete only once the stream is closed.
  const bool closed = std::fclose(stream) == 0;
  const std::unique_ptr<wchar_t, decltype(&std::free)> owner(text, &std::free);
  if (!closed || text == nullptr) throw std::bad_alloc();
  m_Text = formatted ? std::wstring(text, length) : std::wstring();
}

}  // namespace OS
