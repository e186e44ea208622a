/// @file
/// The platform's variant value, and the conversions that CVar is made of.
///
/// An application uses CVar (cfgex/cvar.h). The structure is public because a CVar can be made from
/// one and shows the one that it holds.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cfgex/export.h"

using VARTYPE = std::uint16_t;  ///< a kind of value: see VARENUM
using BSTR = wchar_t*;  ///< owned text; made by OS::SysAllocString, freed by OS::SysFreeString
using DATE = double;    ///< days since 1899-12-30; the fraction is the time of the day
using VARIANT_BOOL = std::int16_t;  ///< a truth value
using HRESULT = std::int32_t;       ///< negative for a failure

inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;  ///< true, with all bits set
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;  ///< false

/// The kinds of value. The numbers are fixed by the interface.
enum VARENUM : VARTYPE {
  VT_EMPTY = 0,
  VT_NULL = 1,
  VT_I2 = 2,
  VT_I4 = 3,
  VT_R4 = 4,
  VT_R8 = 5,
  VT_DATE = 7,
  VT_BSTR = 8,
  VT_ERROR = 10,
  VT_BOOL = 11,
  VT_I1 = 16,
  VT_UI1 = 17,
  VT_UI2 = 18,
  VT_UI4 = 19,
  VT_I8 = 20,
  VT_UI8 = 21,
  VT_INT = 22,
  VT_UINT = 23,
  VT_LPSTR = 30,   ///< a narrow text in UTF-8 that somebody else owns
  VT_LPWSTR = 31,  ///< a wide text that somebody else owns
};

/// A value of the kind `vt`, in the member that goes with it. It owns the text of a VT_BSTR; but
/// being a plain structure it does not free it: see OS::VariantClear.
struct VARIANT {
  VARTYPE vt = VT_EMPTY;  ///< the kind, one of VARENUM
  union {
    std::int8_t cVal;
    std::uint8_t bVal;
    std::int16_t iVal;
    std::uint16_t uiVal;
    std::int32_t lVal;
    std::uint32_t ulVal;
    std::int32_t intVal;
    std::uint32_t uintVal;
    std::int64_t llVal = 0;
    std::uint64_t ullVal;
    float fltVal;
    double dblVal;
    VARIANT_BOOL boolVal;
    std::int32_t scode;
    DATE date;
    BSTR bstrVal;
    const char* pcVal;
    const wchar_t* pwcVal;
  };
};

/// A calendar date and time of the day. `wMonth` counts from 1, `wDayOfWeek` from 0 for Sunday.
struct SYSTEMTIME {
  /// @{
  /// As the name says.
  std::uint16_t wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
  /// @}
};

/// None of these raises. A function that gives an HRESULT leaves its out-argument alone on failure.
namespace OS {

/// @{
/// A copy of the text up to its null character, or of `length` characters. Null when `text` is null
/// or no memory is left.
CFGEX_API BSTR SysAllocString(const wchar_t* text) noexcept;
CFGEX_API BSTR SysAllocStringLen(const wchar_t* text, std::size_t length) noexcept;
/// @}

/// Frees what one of these made; null is accepted.
CFGEX_API void SysFreeString(BSTR text) noexcept;
CFGEX_API std::size_t SysStringLen(BSTR text) noexcept;  ///< in characters; 0 for null

/// Frees what the value owns (a BSTR) and makes it VT_EMPTY.
CFGEX_API void VariantClear(VARIANT& value) noexcept;
/// `target` becomes an independent copy; its old value is cleared. A VT_LPSTR or VT_LPWSTR is
/// copied as a pointer: whoever owns the text keeps it alive.
CFGEX_API HRESULT VariantCopy(VARIANT& target, const VARIANT& source) noexcept;

/// Converts `source` to the kind `kind` and puts the result into `target`, which may be `source`
/// itself; the old value of `target` is cleared. `flags` is 0, else kInvalidArgument is the result.
///
/// A value of the wanted kind is copied. Whole numbers (VT_I1 to VT_UINT), booleans and texts
/// convert among each other. A text is taken for a number when it is, between optional blanks, an
/// optional sign and decimal digits within the kind's range; for a boolean when it is "true",
/// "false" (in any case) or a number, 0 meaning false. A boolean becomes the text "True" or
/// "False", a number its plain decimal text. As a number true has all bits set, -1 if signed. A
/// VT_LPSTR or VT_LPWSTR converts to VT_BSTR unless its pointer is null or its bytes are not UTF-8.
/// Everything else is refused with _com_error::kBadVariantType, a text with kTypeMismatch, a number
/// out of range with kOverflow; lack of memory gives kOutOfMemory.
CFGEX_API HRESULT VariantChangeType(VARIANT& target, const VARIANT& source, unsigned short flags,
                                    VARTYPE kind) noexcept;

/// @{
/// Between calendar fields and a DATE, for the years 100 to 9999; to the millisecond on the way
/// in, to the nearest second on the way out. Before 1899-12-30 the fraction counts away from zero:
/// -1.25 is 6:00 on 1899-12-29. False, and nothing written, for fields or a value out of range.
/// `wDayOfWeek` is not read, and filled in on the way out.
CFGEX_API bool SystemTimeToVariantTime(const SYSTEMTIME& time, DATE& date) noexcept;
CFGEX_API bool VariantTimeToSystemTime(DATE date, SYSTEMTIME& time) noexcept;
/// @}
}  // namespace OS
