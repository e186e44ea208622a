/// @file
/// The failure of a platform operation.
#pragma once

#include <exception>
#include <memory>
#include <string>

#include "cfgex/export.h"

/// What a failing operation of the XML platform raises: a malformed path, a document that cannot be
/// written, a value that does not convert. Nearly all operations of the library catch it and answer
/// false. An application meets it in these calls, and in no others:
/// - CCfgConfigurationEx::RemoveConfiguration: the file cannot be saved, another operation of the
///   platform fails on the way, or nothing is loaded and the text is good.
/// - CCfgConfigurationEx::CopyConfiguration: the file cannot be saved, or, in a shallow copy, some
///   other operation of the platform fails while the target is removed.
/// - CCfgObject::GetFieldValue into a CCfgIntegerArray or a CCfgUnsignedIntegerArray: an item is no
///   number of 32 bits.
/// - CCfgObject::SetFieldValue with a CVar of the kind VT_LPSTR or VT_LPWSTR: it is null, or no
///   UTF-8.
/// - CVar: conversions to another type, FromInt and FromUnsigned, when the value does not convert.
///
/// Lack of memory is not among these: it raises std::bad_alloc, which no operation takes for an
/// answer; a constructor of a class that begins with CCfg raises CCfgExException, -92004, instead.
///
/// Copying shares the text and raises nothing.
class CFGEX_API _com_error : public std::exception {
 public:
  /// The codes, with the values that they have on the platform whose interface this library speaks.
  enum Code : unsigned {
    kFail = 0x80004005,     ///< the operation failed
    kPointer = 0x80004003,  ///< a call on an object that is not there
    kInvalidArgument = 0x80070057,
    kOutOfMemory = 0x8007000E,  ///< only as a result of OS::VariantChangeType; raised as bad_alloc
    kBadVariantType = 0x80020008,  ///< a kind of value that does not convert
    kTypeMismatch = 0x80020005,    ///< a text that is no value of the wanted kind
    kOverflow = 0x8002000A,        ///< a value out of the wanted kind's range
    kWriteFault = 0x8003001D,      ///< a file could not be written
  };

  /// @{
  /// `what` says which operation failed, on what, and why. If no memory is left to keep it, the
  /// text is lost and the code stays.
  _com_error(Code code, const char* what) noexcept;
  _com_error(Code code, const std::string& what) noexcept : _com_error(code, what.c_str()) {}
  /// @}

  /// @{
  /// Shares the text.
  _com_error(const _com_error&) noexcept = default;
  _com_error& operator=(const _com_error&) noexcept = default;
  /// @}

  ~_com_error() override;

  /// The code.
  Code Error() const noexcept { return m_Code; }
  /// The text; valid as long as this exception or a copy of it lives. Empty if it was lost.
  const char* what() const noexcept override;

 private:
  Code m_Code;
  std::shared_ptr<const std::string> m_What;
};
