/// @file
/// The base of the library's exception class.
#pragma once

#include "cfgex/export.h"
#include "cfgex/os_string.h"

namespace OS {

/// An error with a code and the place that raised it. Thrown by value; making and copying one takes
/// no memory, so that the lack of memory can be told.
///
/// It is no std::exception: a handler for that alone lets it pass, and a program that ends by it
/// says "terminate called after throwing an instance of 'CCfgExException'", without a reason. To
/// catch all that the library raises, have a handler for this class (GetErrorMsg says what is
/// wrong) and one for std::exception, the base of _com_error and std::bad_alloc.
class CFGEX_API CException {
 public:
  /// `file` and `line` name the raising source; a null `file` counts as an empty one, of a long one
  /// the last 127 characters are kept.
  CException(int code, const wchar_t* file, int line) noexcept;
  /// @{
  /// A copy.
  CException(const CException&) noexcept = default;
  CException& operator=(const CException&) noexcept = default;
  /// @}

  virtual ~CException();

  /// The code that it was made with.
  virtual int GetErrorCode() const;
  /// What the code means, in English.
  virtual x_wstring GetErrorMsg() const;
  /// The same with the code, the source file and the line.
  virtual x_wstring GetErrorMsgEx() const;

 private:
  int m_Code;
  wchar_t m_File[128] = {};
  int m_Line;
};

}  // namespace OS
