#include "cfgex/os_time.h"

#include <algorithm>
#include <cstdlib>
#include <cwchar>
#include <iterator>
#include <limits>
#include <string>

namespace OS {

namespace {

int SubtractSaturated(int value, int amount) noexcept {
  return std::max(value, std::numeric_limits<int>::min() + amount) - amount;
}

// Conversions to plain numbers are made without the C library: its year has fewer than four digits
// before 1000, and it has no numbers out of range.
struct PlainNumber {
  wchar_t conversion;
  int tm::*field;
  int first;  // what the field's 0 stands for
  int digits;
};
constexpr PlainNumber kPlainNumbers[] = {{L'Y', &tm::tm_year, 1900, 4}, {L'm', &tm::tm_mon, 1, 2},
                                         {L'd', &tm::tm_mday, 0, 2},    {L'H', &tm::tm_hour, 0, 2},
                                         {L'M', &tm::tm_min, 0, 2},     {L'S', &tm::tm_sec, 0, 2},
                                         {L'j', &tm::tm_yday, 1, 3}};

// False for a conversion that is none of these.
bool AppendNumber(std::wstring& text, wchar_t conversion, const tm& fields) {
  for (const PlainNumber& plain : kPlainNumbers) {
    if (plain.conversion != conversion) continue;
    const long long number = static_cast<long long>(fields.*plain.field) + plain.first;
    wchar_t figures[24];
    std::swprintf(figures, std::size(figures), L"%ls%0*lld", number < 0 ? L"-" : L"", plain.digits,
                  std::abs(number));
    text += figures;
    return true;
  }
  return false;
}

// The fields, limited so that the C library's sums do not overflow.
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
  // The result 0 means that it does not fit only if no result is empty.
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

// What a `tm` has here beside the nine fields is left out: the zone's name need not outlive the
// call.
CTime::CTime(const tm& fields) noexcept : m_Fields(fields) {
  m_Fields.tm_gmtoff = 0;
  m_Fields.tm_zone = nullptr;
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
    if (last != format + 1 || !AppendNumber(text, *last, m_Fields)) {
      AppendConversion(text, std::wstring(format, last + 1), m_Fields);
    }
    format = last + 1;
  }
  return x_wstring(std::move(text));
}

}  // namespace OS
