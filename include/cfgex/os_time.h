/// @file
/// Date and time without a time zone.
#pragma once

#include <ctime>

#include "cfgex/export.h"
#include "cfgex/os_string.h"

namespace OS {

/// The nine integers of a `tm`, with their meaning and order there (what else a `tm` of this system
/// holds is left out). No zone is applied, nothing is normalised and no field is checked
/// against a range: what goes in comes out.
class CFGEX_API CTime {
 public:
  CTime() = default;  ///< all nine zero
  /// `year` in full (2026), `month` from 1 to 12; weekday and day of the year are left 0 and
  /// `tm_isdst` is -1. A year or month that a `tm` cannot hold becomes the least that it can.
  CTime(int year, int month, int day, int hour, int minute, int second) noexcept;
  /// The nine fields of `fields`.
  CTime(const tm& fields) noexcept;

  /// The fields; valid as long as this object.
  const tm& GetTm() const noexcept { return m_Fields; }

  /// The text that `format` describes, with the conversions of `strftime`, at any length; "%Y" has
  /// four digits at least. Numbers do not depend on the locale, names do. A field out of range
  /// shows as the number that it is, or as what the C library has for a name that does not exist. A
  /// null `format` gives the empty string.
  x_wstring Format(const wchar_t* format) const;

 private:
  tm m_Fields{};
};

}  // namespace OS
