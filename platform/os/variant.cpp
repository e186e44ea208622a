#include "cfgex/variant.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
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

std::wstring_view ViewOf(const VARIANT& value) noexcept {
  return {value.bstrVal != nullptr ? value.bstrVal : L"", SysStringLen(value.bstrVal)};
}

// Whole numbers. Every kind of them lies within sign and magnitude of 64 bits.

struct Number {
  bool negative = false;
  std::uint64_t magnitude = 0;
};

template <class Integer>
Number NumberOf(Integer value) noexcept {
  using Widest = std::conditional_t<std::is_signed_v<Integer>, std::int64_t, std::uint64_t>;
  const Widest wide = value + Integer{0};  // promoted first, so that the sign is kept
  const auto bits = static_cast<std::uint64_t>(wide);
  return wide < Widest{0} ? Number{true, 0 - bits} : Number{false, bits};
}

std::optional<Number> ReadNumber(const VARIANT& value) noexcept {
  switch (value.vt) {
    case VT_I1:
      return NumberOf(value.cVal);
    case VT_UI1:
      return NumberOf(value.bVal);
    case VT_I2:
      return NumberOf(value.iVal);
    case VT_UI2:
      return NumberOf(value.uiVal);
    case VT_I4:
    case VT_INT:
      return NumberOf(value.lVal);
    case VT_UI4:
    case VT_UINT:
      return NumberOf(value.ulVal);
    case VT_I8:
      return NumberOf(value.llVal);
    case VT_UI8:
      return NumberOf(value.ullVal);
    default:
      return std::nullopt;
  }
}

template <class Integer>
HRESULT StoreIn(Integer& place, const Number& number) noexcept {
  constexpr auto kGreatest = static_cast<std::uint64_t>(std::numeric_limits<Integer>::max());
  constexpr std::uint64_t kLeast = std::numeric_limits<Integer>::is_signed ? kGreatest + 1 : 0;
  if (number.magnitude > (number.negative ? kLeast : kGreatest)) {
    return Failure(_com_error::kOverflow);
  }
  place = static_cast<Integer>(number.negative ? 0 - number.magnitude : number.magnitude);
  return kDone;
}

// Puts the number into the member of `target` that `kind` names.
HRESULT StoreNumber(VARIANT& target, VARTYPE kind, const Number& number) noexcept {
  target.vt = kind;
  switch (kind) {
    case VT_I1:
      return StoreIn(target.cVal, number);
    case VT_UI1:
      return StoreIn(target.bVal, number);
    case VT_I2:
      return StoreIn(target.iVal, number);
    case VT_UI2:
      return StoreIn(target.uiVal, number);
    case VT_I4:
    case VT_INT:
      return StoreIn(target.lVal, number);
    case VT_UI4:
    case VT_UINT:
      return StoreIn(target.ulVal, number);
    case VT_I8:
      return StoreIn(target.llVal, number);
    case VT_UI8:
      return StoreIn(target.ullVal, number);
    default:
      return Failure(_com_error::kBadVariantType);
  }
}

bool IsBlank(wchar_t character) noexcept {
  return character == L' ' || character == L'\t' || character == L'\n' || character == L'\r';
}

std::wstring_view Trimmed(std::wstring_view text) noexcept {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

HRESULT ParseNumber(std::wstring_view text, Number& number) noexcept {
  number.negative = text.starts_with(L'-');
  if (number.negative || text.starts_with(L'+')) text.remove_prefix(1);
  if (text.empty() || !std::all_of(text.begin(), text.end(),
                                   [](wchar_t digit) { return digit >= L'0' && digit <= L'9'; })) {
    return Failure(_com_error::kTypeMismatch);
  }
  constexpr std::uint64_t kGreatest = std::numeric_limits<std::uint64_t>::max();
  number.magnitude = 0;
  for (const wchar_t character : text) {
    const auto digit = static_cast<std::uint64_t>(character - L'0');
    if (number.magnitude > (kGreatest - digit) / 10) return Failure(_com_error::kOverflow);
    number.magnitude = number.magnitude * 10 + digit;
  }
  return kDone;
}

bool EqualsIgnoringCase(std::wstring_view text, std::wstring_view lower) noexcept {
  return std::equal(text.begin(), text.end(), lower.begin(), lower.end(), [](wchar_t a, wchar_t b) {
    return (a >= L'A' && a <= L'Z' ? a + (L'a' - L'A') : a) == b;
  });
}

// The conversions. Each fills `result`, which owns nothing yet; on failure it is left behind.

HRESULT ToText(VARIANT& result, std::wstring_view text) noexcept {
  result.bstrVal = SysAllocStringLen(text.data(), text.size());
  if (result.bstrVal == nullptr) return Failure(_com_error::kOutOfMemory);
  result.vt = VT_BSTR;
  return kDone;
}

HRESULT ToText(VARIANT& result, const Number& number) noexcept {
  char figures[24];
  const auto end = std::to_chars(std::begin(figures), std::end(figures), number.magnitude).ptr;
  wchar_t text[25] = L"-";
  std::copy(figures, end, text + (number.negative ? 1 : 0));
  const std::size_t length = static_cast<std::size_t>(end - figures) + (number.negative ? 1 : 0);
  return ToText(result, std::wstring_view(text, length));
}

HRESULT ToBoolean(VARIANT& result, bool value) noexcept {
  result.vt = VT_BOOL;
  result.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  return kDone;
}

HRESULT FromNumber(VARIANT& result, const Number& number, VARTYPE kind) noexcept {
  if (kind == VT_BSTR) return ToText(result, number);
  if (kind == VT_BOOL) return ToBoolean(result, number.magnitude != 0);
  return StoreNumber(result, kind, number);
}

HRESULT FromText(VARIANT& result, std::wstring_view text, VARTYPE kind) noexcept {
  VARIANT probe;
  if (kind != VT_BOOL && StoreNumber(probe, kind, {}) != kDone) {
    return Failure(_com_error::kBadVariantType);
  }
  text = Trimmed(text);
  if (kind == VT_BOOL && EqualsIgnoringCase(text, L"true")) return ToBoolean(result, true);
  if (kind == VT_BOOL && EqualsIgnoringCase(text, L"false")) return ToBoolean(result, false);
  Number number;
  const HRESULT parsed = ParseNumber(text, number);
  return parsed == kDone ? FromNumber(result, number, kind) : parsed;
}

HRESULT FromBoolean(VARIANT& result, bool value, VARTYPE kind) noexcept {
  if (kind == VT_BSTR) return ToText(result, value ? L"True" : L"False");
  const HRESULT stored = StoreNumber(result, kind, {});
  if (stored == kDone && value) result.llVal = -1;  // all bits of whichever member the kind names
  return stored;
}

HRESULT FromNarrowText(VARIANT& result, const char* text) noexcept {
  try {
    return ToText(result, cfgex::internal::FromUtf8(text));
  } catch (const _com_error&) {
    return Failure(_com_error::kTypeMismatch);
  } catch (const std::bad_alloc&) {
    return Failure(_com_error::kOutOfMemory);
  }
}

// A text that somebody else owns: it becomes a text of one's own, and nothing else.
HRESULT FromForeignText(VARIANT& result, const VARIANT& source, VARTYPE kind) noexcept {
  if (kind != VT_BSTR) return Failure(_com_error::kBadVariantType);
  if (source.vt == VT_LPSTR ? source.pcVal == nullptr : source.pwcVal == nullptr) {
    return Failure(_com_error::kTypeMismatch);
  }
  return source.vt == VT_LPSTR ? FromNarrowText(result, source.pcVal)
                               : ToText(result, source.pwcVal);
}

HRESULT Convert(VARIANT& result, const VARIANT& source, VARTYPE kind) noexcept {
  if (source.vt == kind) return VariantCopy(result, source);
  if (const std::optional<Number> number = ReadNumber(source)) {
    return FromNumber(result, *number, kind);
  }
  switch (source.vt) {
    case VT_BSTR:
      return FromText(result, ViewOf(source), kind);
    case VT_BOOL:
      return FromBoolean(result, source.boolVal != VARIANT_FALSE, kind);
    case VT_LPSTR:
    case VT_LPWSTR:
      return FromForeignText(result, source, kind);
    default:
      return Failure(_com_error::kBadVariantType);
  }
}

// `target`, which may be what `value` was made from, takes it over.
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
  VARIANT result;
  const HRESULT converted = Convert(result, source, kind);
  if (converted == kDone) Replace(target, result);
  return converted;
}

bool SystemTimeToVariantTime(const SYSTEMTIME& time, DATE& date) noexcept {
  const std::chrono::year_month_day day{
      std::chrono::year{time.wYear}, std::chrono::month{time.wMonth}, std::chrono::day{time.wDay}};
  if (time.wYear < 100 || time.wYear > 9999 || time.wMonth > 12 || time.wDay > 31 || !day.ok()) {
    return false;
  }
  if (time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999) {
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
