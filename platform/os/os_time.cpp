#include "cfgex/os_time.h"

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <limits>
#include <string>

namespace OS {

namespace {

int SubtractSaturated(int value, int amount) noexcept {
  return std::max(value, std::numeric_limits<int>::min() + amount) - amount;
}

void AppendNumber(std::wstring& text, std::int64_t number, std::size_t digits) {
  if (number < 0) text += L'-';
  const std::wstring figures = std::to_wstring(number < 0 ? -number : number);
  text.append(digits > figures.size() ? digits - figures.size() : 0, L'0');
  text += figures;
}

// The plain numbers, without the C library: its year has fewer than four digits before 1000.
bool AppendField(std::wstring& text, wchar_t conversion, const tm& fields) {
  const auto put = [&text](std::int64_t number, std::size_t digits) {
    AppendNumber(text, number, digits);
    return true;
  };
  switch (conversion) {
    case L'Y':
      return put(std::int64_t{fields.tm_year} + 1900, 4);
    case L'm':
      return put(std::int64_t{fields.tm_mon} + 1, 2);
    case L'd':
      return put(fields.tm_mday, 2);
    case L'H':
      return put(fields.tm_hour, 2);
    case L'M':
      return put(fields.tm_min, 2);
    case L'S':
      return put(fields.tm_sec, 2);
    case L'j':
      return put(std::int64_t{fields.tm_yday} + 1, 3);
    default:
      return false;
  }
}

// The fields, kept so far from the limits of `int` that the C library's sums do not overflow.
tm WithinReach(tm fields) noexcept {
  constexpr int kLimit = 1'000'000'000;
  for (int* field : {&fields.tm_sec, &fields.tm_min, &fields.tm_hour, &fields.tm_mday,
                     &fields.tm_mon, &fields.tm_year, &fields.tm_wday, &fields.tm_yday}) {
    *field = std::clamp(*field, -kLimit, kLimit);
  }
  return fields;
}

// Any other conversion, as the C library makes it. One that takes more than 2^20 characters is
// left out.
void AppendConversion(std::wstring& text, std::wstring conversion, const tm& fields) {
  // 0 tells a result that does not fit from an empty one only when no result is empty.
  conversion += L'.';
  const tm safe = WithinReach(fields);
  std::wstring buffer;
  for (std::size_t size = 64; size <= std::size_t{1} << 20; size *= 4) {
    buffer.resize(size);
    const std::size_t length = std::wcsftime(buffer.data(), size, conversion.c_str(), &safe);
    if (length == 0) continue;
    text.append(buffer, 0, length - 1);
    return;
  }
}

}  // namespace

CTime::CTime(int year, int month, int day, int hour, int minute, int second) noexcept {
  m_Fields.tm_year = SubtractSaturated(year, 1900);
  m_Fields.tm_mon = SubtractSaturated(month, 1);
  m_Fields.tm_mday = day;
  m_Fields.tm_hour = hour;
  m_Fields.tm_min = minute;
  m_Fields.tm_sec = second;
  m_Fields.tm_isdst = -1;
}

// A `tm` here has a pointer to a zone's name as well, which need not outlive the call.
CTime::CTime(const tm& fields) noexcept {
  m_Fields.tm_sec = fields.tm_sec;
  m_Fields.tm_min = fields.tm_min;
  m_Fields.tm_hour = fields.tm_hour;
  m_Fields.tm_mday = fields.tm_mday;
  m_Fields.tm_mon = fields.tm_mon;
  m_Fields.tm_year = fields.tm_year;
  m_Fields.tm_wday = fields.tm_wday;
  m_Fields.tm_yday = fields.tm_yday;
  m_Fields.tm_isdst = fields.tm_isdst;
}

x_wstring CTime::Format(const wchar_t* format) const {
  std::wstring text;
  while (format != nullptr && *format != L'\0') {
    if (*format != L'%') {
      text += *format++;
      continue;
    }
    // A conversion: the sign, flags, a width and a modifier, and its letter.
    const wchar_t* last = format + 1;
    last += std::wcsspn(last, L"_-0^#+123456789EO");
    if (*last == L'\0') {
      text += format;
      break;
    }
    if (last != format + 1 || !AppendField(text, *last, m_Fields)) {
      AppendConversion(text, std::wstring(format, last + 1), m_Fields);
    }
    format = last + 1;
  }
  return x_wstring(std::move(text));
}

}  // namespace OS
