#include "cfgex/variant.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>

#include "cfgex/com_error.h"
#include "platform/os/encoding.h"
#include "platform/os/fault_point.h"

namespace OS {

namespace {

using cfgex::internal::FaultHere;
using cfgex::internal::FaultPoint;

constexpr HRESULT kDone = 0;

HRESULT Failure(_com_error::Code code) noexcept { return static_cast<HRESULT>(code); }

// Any whole number of a variant.
__extension__ typedef __int128 Number;

// Calls `action` with the member that goes with a kind of whole numbers.
template <class Variant, class Action>
HRESULT WithMember(Variant& value, VARTYPE kind, const Action& action) {
  switch (kind) {
    case VT_I1:
      return action(value.cVal);
    case VT_UI1:
      return action(value.bVal);
    case VT_I2:
      return action(value.iVal);
    case VT_UI2:
      return action(value.uiVal);
    case VT_I4:
    case VT_INT:
      return action(value.lVal);
    case VT_UI4:
    case VT_UINT:
      return action(value.ulVal);
    case VT_I8:
      return action(value.llVal);
    case VT_UI8:
      return action(value.ullVal);
    default:
      return Failure(_com_error::kBadVariantType);
  }
}

// The conversions. Each fills `result`, which owns nothing yet; on failure it is left behind.

HRESULT ToText(VARIANT& result, std::wstring_view text) noexcept {
  result.bstrVal = SysAllocStringLen(text.data(), text.size());
  if (result.bstrVal == nullptr) return Failure(_com_error::kOutOfMemory);
  result.vt = VT_BSTR;
  return kDone;
}

HRESULT ToBoolean(VARIANT& result, bool value) noexcept {
  result.vt = VT_BOOL;
  result.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  return kDone;
}

HRESULT FromNumber(VARIANT& result, Number number, VARTYPE kind) {
  if (kind == VT_BOOL) return ToBoolean(result, number != 0);
  if (kind == VT_BSTR) {
    char figures[24];
    char* const end = std::end(figures);
    const auto last = number < 0 ? std::to_chars(figures, end, static_cast<std::int64_t>(number))
                                 : std::to_chars(figures, end, static_cast<std::uint64_t>(number));
    wchar_t text[24];
    return ToText(result, {text, std::copy(figures, last.ptr, text)});
  }
  result.vt = kind;
  return WithMember(result, kind, [number](auto& member) {
    using Integer = std::remove_reference_t<decltype(member)>;
    using Limits = std::numeric_limits<Integer>;
    if (number < Limits::min() || number > Limits::max()) return Failure(_com_error::kOverflow);
    member = static_cast<Integer>(number);
    return kDone;
  });
}

HRESULT FromText(VARIANT& result, std::wstring_view text, VARTYPE kind) {
  if (kind != VT_BOOL && FromNumber(result, 0, kind) != kDone) {
    return Failure(_com_error::kBadVariantType);
  }
  constexpr const wchar_t* kBlanks = L" \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const std::string value =
      cfgex::internal::ToUtf8(text.substr(0, text.find_last_not_of(kBlanks) + 1));
  const auto is = [&value](std::string_view word) {
    return value.size() == word.size() &&
           ::strncasecmp(value.data(), word.data(), word.size()) == 0;
  };
  if (kind == VT_BOOL && is("true")) return ToBoolean(result, true);
  if (kind == VT_BOOL && is("false")) return ToBoolean(result, false);

  const bool isNegative = value.starts_with('-');
  const char* const end = value.data() + value.size();
  std::uint64_t magnitude = 0;
  const auto [last, error] = std::from_chars(
      value.data() + (isNegative || value.starts_with('+') ? 1 : 0), end, magnitude);
  if (last != end || error == std::errc::invalid_argument) {
    return Failure(_com_error::kTypeMismatch);
  }
  if (error != std::errc{}) return Failure(_com_error::kOverflow);
  return FromNumber(result, isNegative ? -Number{magnitude} : Number{magnitude}, kind);
}

HRESULT FromBoolean(VARIANT& result, bool value, VARTYPE kind) {
  if (kind == VT_BSTR) return ToText(result, value ? L"True" : L"False");
  const HRESULT stored = FromNumber(result, 0, kind);
  if (stored == kDone && value) result.llVal = -1;  // all bits of whichever member the kind names
  return stored;
}

// A text with another owner converts to a copy of it, and to nothing else.
HRESULT FromForeignText(VARIANT& result, const VARIANT& source, VARTYPE kind) {
  if (kind != VT_BSTR) return Failure(_com_error::kBadVariantType);
  const bool isNarrow = source.vt == VT_LPSTR;
  if (isNarrow ? source.pcVal == nullptr : source.pwcVal == nullptr) {
    return Failure(_com_error::kTypeMismatch);
  }
  return isNarrow ? ToText(result, cfgex::internal::FromUtf8(source.pcVal))
                  : ToText(result, source.pwcVal);
}

HRESULT Convert(VARIANT& result, const VARIANT& source, VARTYPE kind) {
  if (source.vt == kind) return VariantCopy(result, source);
  switch (source.vt) {
    case VT_BSTR:
      return FromText(result, {source.bstrVal, SysStringLen(source.bstrVal)}, kind);
    case VT_BOOL:
      return FromBoolean(result, source.boolVal != VARIANT_FALSE, kind);
    case VT_LPSTR:
    case VT_LPWSTR:
      return FromForeignText(result, source, kind);
    default:
      return WithMember(source, source.vt,
                        [&](auto number) { return FromNumber(result, number, kind); });
  }
}

// Moves the value to `target`, which may be what it was made from.
void Replace(VARIANT& target, const VARIANT& value) noexcept {
  VariantClear(target);
  target = value;
}

// Dates.

constexpr auto kDayZero = std::chrono::sys_days{std::chrono::year{1899} / 12 / 30};
constexpr double kFirstDay = -657434;     // 0100-01-01
constexpr double kPastLastDay = 2958466;  // 10000-01-01
constexpr int kSecondsPerDay = 24 * 60 * 60;

}  // namespace

// A BSTR points behind its length: { std::size_t, characters, null character }.

BSTR SysAllocString(const wchar_t* text) noexcept {
  return text != nullptr ? SysAllocStringLen(text, std::char_traits<wchar_t>::length(text))
                         : nullptr;
}

BSTR SysAllocStringLen(const wchar_t* text, std::size_t length) noexcept {
  constexpr std::size_t kFrame = sizeof(std::size_t) + sizeof(wchar_t);
  constexpr std::size_t kLongest =
      (std::numeric_limits<std::size_t>::max() - kFrame) / sizeof(wchar_t);
  if (text == nullptr || length > kLongest || FaultHere(FaultPoint::kSysAllocString))
    return nullptr;
  auto* block = static_cast<std::byte*>(std::malloc(kFrame + length * sizeof(wchar_t)));
  if (block == nullptr) return nullptr;
  std::memcpy(block, &length, sizeof length);
  // The block is a result of malloc, and the length before the text keeps the text aligned.
  auto* result = reinterpret_cast<wchar_t*>(block + sizeof length);
  std::copy_n(text, length, result);
  result[length] = L'\0';
  return result;
}

void SysFreeString(BSTR text) noexcept {
  if (text != nullptr) std::free(reinterpret_cast<std::byte*>(text) - sizeof(std::size_t));
}

std::size_t SysStringLen(BSTR text) noexcept {
  std::size_t length = 0;
  if (text != nullptr) {
    std::memcpy(&length, reinterpret_cast<std::byte*>(text) - sizeof length, sizeof length);
  }
  return length;
}

void VariantClear(VARIANT& value) noexcept {
  if (value.vt == VT_BSTR) SysFreeString(value.bstrVal);
  value = VARIANT{};
}

HRESULT VariantCopy(VARIANT& target, const VARIANT& source) noexcept {
  VARIANT copy = source;
  if (source.vt == VT_BSTR && source.bstrVal != nullptr) {
    copy.bstrVal = SysAllocStringLen(source.bstrVal, SysStringLen(source.bstrVal));
    if (copy.bstrVal == nullptr) return Failure(_com_error::kOutOfMemory);
  }
  Replace(target, copy);
  return kDone;
}

HRESULT VariantChangeType(VARIANT& target, const VARIANT& source, unsigned short flags,
                          VARTYPE kind) noexcept {
  if (flags != 0) return Failure(_com_error::kInvalidArgument);
  try {
    VARIANT result;
    const HRESULT converted = Convert(result, source, kind);
    if (converted == kDone) Replace(target, result);
    return converted;
  } catch (const _com_error&) {  // a text that cannot be encoded
    return Failure(_com_error::kTypeMismatch);
  } catch (const std::bad_alloc&) {
    return Failure(_com_error::kOutOfMemory);
  }
}

bool SystemTimeToVariantTime(const SYSTEMTIME& time, DATE& date) noexcept {
  const std::chrono::year_month_day day{
      std::chrono::year{time.wYear}, std::chrono::month{time.wMonth}, std::chrono::day{time.wDay}};
  // A month and a day have only eight bits there.
  if (time.wYear < 100 || time.wYear > 9999 || time.wMonth > 12 || time.wDay > 31 || !day.ok() ||
      time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
    return false;
  }
  const int seconds = (time.wHour * 60 + time.wMinute) * 60 + time.wSecond;
  const double fraction = (seconds + time.wMilliseconds / 1000.0) / kSecondsPerDay;
  const auto days = static_cast<double>((std::chrono::sys_days{day} - kDayZero).count());
  date = days < 0 ? days - fraction : days + fraction;
  return true;
}

bool VariantTimeToSystemTime(DATE date, SYSTEMTIME& time) noexcept {
  if (!(date > kFirstDay - 1 && date < kPastLastDay)) return false;
  const double whole = std::trunc(date);
  auto days = static_cast<int>(whole);
  auto seconds = static_cast<int>(std::lround(std::fabs(date - whole) * kSecondsPerDay));
  if (seconds == kSecondsPerDay) {  // rounded up to midnight
    seconds = 0;
    ++days;
  }
  if (days >= static_cast<int>(kPastLastDay)) return false;

  const std::chrono::sys_days day = kDayZero + std::chrono::days{days};
  const std::chrono::year_month_day fields{day};
  const auto word = [](auto value) { return static_cast<std::uint16_t>(value); };
  time = {.wYear = word(static_cast<int>(fields.year())),
          .wMonth = word(static_cast<unsigned>(fields.month())),
          .wDayOfWeek = word(std::chrono::weekday{day}.c_encoding()),
          .wDay = word(static_cast<unsigned>(fields.day())),
          .wHour = word(seconds / 3600),
          .wMinute = word(seconds / 60 % 60),
          .wSecond = word(seconds % 60),
          .wMilliseconds = 0};
  return true;
}

}  // namespace OS
