/// @file
/// The one exception class of the library.
#pragma once

#include "cfgex/export.h"
#include "cfgex/os_exception.h"

/// An index at or past the end of a value array.
inline constexpr int CFGEX_ERROR_INDEX_OUT_OF_RANGE = -92003;
/// The state behind a handle could not be allocated.
inline constexpr int CFGEX_ERROR_OUT_OF_MEMORY = -92004;

/// Raised by value, with one of the two codes above. A catcher may take it as this class or as
/// OS::CException. The contracts of the calls say which of them raise it. All other failures are
/// results.
class CFGEX_API CCfgExException : public OS::CException {
 public:
  /// As the base.
  CCfgExException(int code, const wchar_t* file, int line) noexcept;
  /// @{
  /// A copy.
  CCfgExException(const CCfgExException&) noexcept = default;
  CCfgExException& operator=(const CCfgExException&) noexcept = default;
  /// @}

  ~CCfgExException() override;
};
