// What the library asks of the operating system beside files.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "cfgex/os_string.h"

namespace OS {

// Milliseconds since the system started, modulo 2^32. They only make names differ.
std::uint32_t GetTickCount() noexcept;

// A random identifier of 128 bits (https://www.rfc-editor.org/rfc/rfc4122, version 4).
struct GUID {
  std::array<std::uint8_t, 16> bytes;
};
// False, and `guid` unchanged, when the system has no random bytes.
bool CoCreateGuid(GUID& guid) noexcept;
// The text form: upper-case hexadecimal in groups of 8, 4, 4, 4 and 12 digits between braces.
// Returns its length with the null character, or 0 if it does not fit into `size` characters.
int StringFromGUID2(const GUID& guid, wchar_t* buffer, int size) noexcept;

// The number at the start of a text, after blanks and a sign, modulo 2^32; 0 without digits.
std::uint32_t _wtoi(const wchar_t* text) noexcept;

// Appends the pieces of the text between the separators, empty ones included, so always one more
// than there are separators. False, and nothing appended, without a vector or a separator.
bool SplitStringToTokensW(std::vector<x_wstring>* tokens, const x_wstring& text,
                          const wchar_t* separator);

}  // namespace OS
