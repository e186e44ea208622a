// Between the wide text of the interfaces and the bytes of files and of the XML engine.
#pragma once

#include <string>
#include <string_view>

namespace cfgex::internal {

// Malformed input (a surrogate, a number beyond U+10FFFF, a broken or overlong byte sequence)
// raises _com_error. A null character is kept.
std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);
// UTF-16, little-endian, without a byte-order mark.
std::string ToUtf16Le(std::wstring_view text);

// Whether XML 1.0 can carry every character of the text (https://www.w3.org/TR/xml/#charsets).
bool IsXmlText(std::wstring_view text) noexcept;
// Whether the text is an XML name without a colon (https://www.w3.org/TR/xml-names/#NT-NCName).
bool IsNCName(std::wstring_view text) noexcept;

}  // namespace cfgex::internal
