/// @file
/// A value of any scalar kind.
#pragma once

#include <concepts>
#include <cstdint>
#include <ctime>
#include <limits>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "cfgex/com_error.h"
#include "cfgex/os_string.h"
#include "cfgex/os_time.h"
#include "cfgex/variant.h"

/// A variant value with a cached text: what CCfgObject::SetFieldValue and GetFieldValue move when
/// the caller does not want to choose the overload by type. The kind of the value decides which
/// field it can be written to; reading takes the kind from the field's schema type.
///
/// A value: copies are independent, except that a VT_LPSTR or VT_LPWSTR shares its text with
/// whoever owns it. One CVar belongs to one thread at a time, a const one too: its conversion to
/// text changes the cached text.
///
/// Conversions raise _com_error where the value does not convert (see OS::VariantChangeType). Want
/// of memory raises std::bad_alloc.
class CVar {
 public:
  CVar() noexcept = default;  ///< VT_EMPTY
  /// @{
  /// A number or a truth value, as the kind that goes with its type: VT_I2, VT_UI2, VT_I4, VT_UI4,
  /// VT_BOOL, VT_I1, VT_UI1, VT_I8, VT_UI8, VT_R4, VT_R8.
  CVar(short value) noexcept { m_Value.vt = VT_I2, m_Value.iVal = value; }
  CVar(unsigned short value) noexcept { m_Value.vt = VT_UI2, m_Value.uiVal = value; }
  CVar(int value) noexcept { m_Value.vt = VT_I4, m_Value.lVal = value; }
  CVar(unsigned int value) noexcept { m_Value.vt = VT_UI4, m_Value.ulVal = value; }
  CVar(bool value) noexcept {
    m_Value.vt = VT_BOOL, m_Value.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
  }
  CVar(signed char value) noexcept { m_Value.vt = VT_I1, m_Value.cVal = value; }
  CVar(unsigned char value) noexcept { m_Value.vt = VT_UI1, m_Value.bVal = value; }
  CVar(long long value) noexcept { m_Value.vt = VT_I8, m_Value.llVal = value; }
  CVar(unsigned long long value) noexcept { m_Value.vt = VT_UI8, m_Value.ullVal = value; }
  CVar(float value) noexcept { m_Value.vt = VT_R4, m_Value.fltVal = value; }
  CVar(double value) noexcept { m_Value.vt = VT_R8, m_Value.dblVal = value; }
  /// @}

  /// @{
  /// VT_I4 (VT_UI4) for what fits into 32 bits, as with the overloads for `long` of CCfgObject;
  /// else VT_I8 (VT_UI8).
  CVar(long value) noexcept : CVar(static_cast<long long>(value)) { NarrowTo32Bits(); }
  CVar(unsigned long value) noexcept : CVar(static_cast<unsigned long long>(value)) {
    NarrowTo32Bits();
  }
  /// @}

  /// A pointer is no truth value. For a narrow text see Shared.
  template <class T>
  requires(!std::same_as<std::remove_const_t<T>, wchar_t>) CVar(T* pointer)
  = delete;
  /// @{
  /// A text, copied; a null pointer counts as the empty text. VT_BSTR.
  CVar(const wchar_t* text) { SetText(text != nullptr ? text : L""); }
  CVar(const OS::x_wstring& text) { SetText(text.c_str()); }
  /// @}

  /// @{
  /// A date, to the second. VT_DATE; 0.0 for fields that are no date of the years 100 to 9999.
  CVar(const tm& fields) noexcept { SetDate(fields); }
  CVar(const OS::CTime& time) noexcept { SetDate(time.GetTm()); }
  /// @}

  /// Any kind: a copy of `value`, as OS::VariantCopy makes it.
  CVar(const VARIANT& value) { Check(OS::VariantCopy(m_Value, value), "VariantCopy"); }
  /// @{
  /// A whole number as a value of any kind of whole numbers, or of VT_ERROR. Raises _com_error for
  /// another kind and for a number out of the kind's range.
  static CVar FromInt(int value, VARTYPE kind) { return FromNumber(CVar(value), kind); }
  static CVar FromUnsigned(unsigned int value, VARTYPE kind) {
    return FromNumber(CVar(value), kind);
  }
  /// @}

  /// @{
  /// A text that stays the caller's, who keeps it alive and unchanged as long as the CVar and its
  /// copies are in use: VT_LPSTR for UTF-8, VT_LPWSTR for a wide text.
  static CVar Shared(const char* text) noexcept {
    CVar result;
    result.m_Value.vt = VT_LPSTR, result.m_Value.pcVal = text;
    return result;
  }
  static CVar Shared(const wchar_t* text) noexcept {
    CVar result;
    result.m_Value.vt = VT_LPWSTR, result.m_Value.pwcVal = text;
    return result;
  }
  /// @}

  /// @{
  /// An independent copy, but for the text of a VT_LPSTR or VT_LPWSTR. What was moved from is
  /// VT_EMPTY.
  CVar(const CVar& other) : CVar(other.m_Value) {}
  CVar(CVar&& other) noexcept { Swap(other); }
  CVar& operator=(CVar other) noexcept {
    Swap(other);
    return *this;
  }
  /// @}

  /// Frees what the value owns.
  ~CVar() { OS::VariantClear(m_Value); }

  /// The kind of the value, one of VARENUM.
  VARTYPE GetKind() const noexcept { return m_Value.vt; }
  /// The value itself; what it points to is this CVar's.
  const VARIANT& GetVariant() const noexcept { return m_Value; }
  /// Makes the value VT_EMPTY.
  void Clear() noexcept { OS::VariantClear(m_Value); }

  /// @{
  /// The value, where it has the kind named; any other kind is converted to it.
  operator short() const { return Read(VT_I2, &VARIANT::iVal); }
  operator unsigned short() const { return Read(VT_UI2, &VARIANT::uiVal); }
  operator int() const { return Read(VT_I4, &VARIANT::lVal); }
  operator unsigned int() const { return Read(VT_UI4, &VARIANT::ulVal); }
  operator bool() const { return Read(VT_BOOL, &VARIANT::boolVal) != VARIANT_FALSE; }
  /// @}

  /// The text of a VT_BSTR, valid until this CVar changes; for any other kind the cached text,
  /// valid until the next conversion to text as well.
  operator const wchar_t*() const {
    if (m_Value.vt == VT_BSTR) return m_Value.bstrVal != nullptr ? m_Value.bstrVal : L"";
    m_Text = static_cast<const wchar_t*>(Converted(VT_BSTR));
    return m_Text.c_str();
  }

  /// The calendar fields of a VT_DATE; weekday, day of the year and milliseconds are not passed on.
  /// A date out of range gives the fields of year 0, month 0, day 0. No other kind converts.
  operator tm() const {
    SYSTEMTIME time{};
    OS::VariantTimeToSystemTime(Read(VT_DATE, &VARIANT::date), time);
    return OS::CTime(time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond)
        .GetTm();
  }

 private:
  static void Check(HRESULT result, const char* operation) {
    if (result == static_cast<HRESULT>(_com_error::kOutOfMemory)) throw std::bad_alloc();
    if (result < 0) throw _com_error(static_cast<_com_error::Code>(result), operation);
  }
  static CVar FromNumber(CVar number, VARTYPE kind) {
    if (kind == VT_BSTR || kind == VT_BOOL) {
      throw _com_error(_com_error::kBadVariantType, "CVar: no kind of a whole number");
    }
    // VT_ERROR is a number by its layout, not by conversion.
    if (kind == VT_ERROR) {
      number.m_Value.vt = kind;
      return number;
    }
    return number.Converted(kind);
  }
  void NarrowTo32Bits() noexcept {
    // A value that does not fit stays what it is.
    OS::VariantChangeType(m_Value, m_Value, 0, m_Value.vt == VT_I8 ? VT_I4 : VT_UI4);
  }
  CVar Converted(VARTYPE kind) const {
    CVar result;
    Check(OS::VariantChangeType(result.m_Value, m_Value, 0, kind), "VariantChangeType");
    return result;
  }
  template <class Member>
  Member Read(VARTYPE kind, Member VARIANT::*member) const {
    return m_Value.vt == kind ? m_Value.*member : Converted(kind).m_Value.*member;
  }
  void SetText(const wchar_t* text) {
    m_Value.bstrVal = OS::SysAllocString(text);
    if (m_Value.bstrVal == nullptr) throw std::bad_alloc();
    m_Value.vt = VT_BSTR;
  }
  void SetDate(const tm& fields) noexcept;
  void Swap(CVar& other) noexcept {
    std::swap(m_Value, other.m_Value);
    m_Text.swap(other.m_Text);
  }

  VARIANT m_Value;
  mutable std::wstring m_Text;  // the result of the last conversion to text
};

inline void CVar::SetDate(const tm& fields) noexcept {
  // What does not fit becomes 65535, which is out of range for every field.
  const auto word = [](std::int64_t value) {
    constexpr std::uint16_t kNone = std::numeric_limits<std::uint16_t>::max();
    return value < 0 || value > kNone ? kNone : static_cast<std::uint16_t>(value);
  };
  const SYSTEMTIME time{.wYear = word(std::int64_t{fields.tm_year} + 1900),
                        .wMonth = word(std::int64_t{fields.tm_mon} + 1),
                        .wDayOfWeek = word(fields.tm_wday),
                        .wDay = word(fields.tm_mday),
                        .wHour = word(fields.tm_hour),
                        .wMinute = word(fields.tm_min),
                        .wSecond = word(fields.tm_sec),
                        .wMilliseconds = 0};
  m_Value.vt = VT_DATE;
  m_Value.date = 0.0;
  OS::SystemTimeToVariantTime(time, m_Value.date);
}
