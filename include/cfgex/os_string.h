/// @file
/// The wide string of the library's boundary.
#pragma once

#include <compare>
#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "cfgex/export.h"

namespace OS {

/// A text of UTF-32 characters (a `wchar_t` is 32 bits wide). A value: copies are independent.
class CFGEX_API x_wstring {
 public:
  /// The empty text.
  x_wstring() = default;
  /// A null pointer makes an empty string.
  x_wstring(const wchar_t* text) : m_Text(text != nullptr ? text : L"") {}
  /// @{
  /// The text, to its end; a null character in it ends what c_str shows.
  x_wstring(std::wstring text) noexcept : m_Text(std::move(text)) {}
  x_wstring(std::wstring_view text) : m_Text(text) {}
  /// @}

  /// @{
  /// Takes the text; a null pointer makes this string empty.
  /// The source may be a buffer that changes afterwards, or part of this very string.
  x_wstring& operator=(const wchar_t* text) { return *this = x_wstring(text); }
  x_wstring& operator=(wchar_t* text) { return *this = x_wstring(text); }
  x_wstring& operator=(std::nullptr_t) noexcept {
    m_Text.clear();
    return *this;
  }
  /// @}

  /// @{
  /// Compare character by character, case-sensitively. A null pointer counts as the empty text.
  bool operator==(const x_wstring& other) const noexcept { return m_Text == other.m_Text; }
  bool operator==(const wchar_t* other) const noexcept {
    return m_Text.compare(other != nullptr ? other : L"") == 0;
  }
  std::strong_ordering operator<=>(const x_wstring& other) const noexcept {
    return m_Text.compare(other.m_Text) <=> 0;
  }
  std::strong_ordering operator<=>(const wchar_t* other) const noexcept {
    return m_Text.compare(other != nullptr ? other : L"") <=> 0;
  }
  /// @}

  /// @{
  /// The text, ended by a null character; valid until the next change of this string.
  operator const wchar_t*() const noexcept { return m_Text.c_str(); }
  const wchar_t* c_str() const noexcept { return m_Text.c_str(); }
  /// @}

  /// The text; valid as long as this string.
  const std::wstring& str() const noexcept { return m_Text; }

  /// Writes the text, to its end, as a std::wstring is written.
  friend std::wostream& operator<<(std::wostream& out, const x_wstring& text) {
    return out << text.m_Text;
  }

  /// Whether there are no characters.
  bool empty() const noexcept { return m_Text.empty(); }
  /// The number of characters.
  std::size_t size() const noexcept { return m_Text.size(); }

  /// Replaces the content with `format` filled in as `printf` does, at any length. "%s" takes a
  /// wide string (`const wchar_t*`) and "%c" a wide character; "%hs" takes a narrow string, in the
  /// encoding of the locale. The arguments may point into this string. A null `format` or one that
  /// cannot be formatted leaves the string empty.
  void Format(const wchar_t* format, ...);

 private:
  std::wstring m_Text;
};

}  // namespace OS
