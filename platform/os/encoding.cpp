#include "platform/os/encoding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "cfgex/com_error.h"

namespace cfgex::internal {

namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character is one code point here");

struct Range {
  std::uint32_t first, last;
};

// NameStartChar beyond ASCII, and what NameChar adds to it there.
constexpr Range kNameStart[] = {{0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},
                                {0x370, 0x37D},   {0x37F, 0x1FFF},  {0x200C, 0x200D},
                                {0x2070, 0x218F}, {0x2C00, 0x2FEF}, {0x3001, 0xD7FF},
                                {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};
constexpr Range kNameMore[] = {{0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

bool IsIn(std::span<const Range> ranges, std::uint32_t code) noexcept {
  return std::any_of(ranges.begin(), ranges.end(), [code](const Range& range) {
    return range.first <= code && code <= range.last;
  });
}

std::uint32_t CodeOf(wchar_t character) noexcept { return static_cast<std::uint32_t>(character); }

// Whether it is a character: no surrogate, and not beyond the last one.
bool IsScalarValue(std::uint32_t code) noexcept {
  return code < 0xD800 || (code > 0xDFFF && code <= 0x10FFFF);
}

bool IsNameStart(std::uint32_t code) noexcept {
  if (code < 0x80) return (code | 0x20) - 'a' < 26u || code == '_';
  return IsIn(kNameStart, code);
}

bool IsNameCharacter(std::uint32_t code) noexcept {
  if (code < 0x80) return IsNameStart(code) || code - '0' < 10u || code == '-' || code == '.';
  return IsIn(kNameStart, code) || IsIn(kNameMore, code);
}

[[noreturn]] void RaiseMalformed(const char* what) {
  throw _com_error(_com_error::kInvalidArgument, what);
}

// The number of a character that has an encoding.
std::uint32_t ScalarValue(wchar_t character) {
  const std::uint32_t code = CodeOf(character);
  if (!IsScalarValue(code)) RaiseMalformed("wide text: a character is no Unicode scalar value");
  return code;
}

// How many trail bytes follow the lead byte of a character.
std::size_t TrailOf(std::uint32_t code) noexcept {
  return code < 0x80 ? 0 : code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
}

// Reads the character that starts at `position`, and moves past it.
std::uint32_t TakeCharacter(std::string_view text, std::size_t& position) {
  const auto byte = [text](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
  const std::uint32_t lead = byte(position);
  if (lead < 0x80) {
    ++position;
    return lead;
  }
  // A lead byte below 0xC2 or above 0xF4 starts nothing: a stray trail byte, an overlong form or a
  // number beyond U+10FFFF.
  if (lead < 0xC2 || lead > 0xF4) RaiseMalformed("UTF-8: a byte that starts no character");
  const std::size_t trail = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  if (text.size() - position <= trail) RaiseMalformed("UTF-8: the last character is cut off");

  std::uint32_t code = lead & (0x3Fu >> trail);
  for (std::size_t i = 1; i <= trail; ++i) {
    const std::uint32_t next = byte(position + i);
    if ((next & 0xC0) != 0x80) RaiseMalformed("UTF-8: a character is broken off");
    code = code << 6 | (next & 0x3F);
  }
  if (TrailOf(code) != trail || !IsScalarValue(code))
    RaiseMalformed("UTF-8: an overlong form, a surrogate or a number beyond U+10FFFF");
  position += trail + 1;
  return code;
}

}  // namespace

std::string ToUtf8(std::wstring_view text) {
  std::size_t length = 0;
  for (const wchar_t character : text) length += 1 + TrailOf(ScalarValue(character));
  std::string result(length, '\0');
  char* out = result.data();
  for (const wchar_t character : text) {
    const std::uint32_t code = CodeOf(character);
    std::size_t trail = TrailOf(code);
    constexpr std::uint32_t kLead[] = {0, 0xC0, 0xE0, 0xF0};
    *out++ = static_cast<char>(kLead[trail] | code >> 6 * trail);
    while (trail-- > 0) *out++ = static_cast<char>(0x80 | (code >> 6 * trail & 0x3F));
  }
  return result;
}

std::wstring FromUtf8(std::string_view text) {
  // As many characters as there are bytes that are no trail bytes.
  const auto count = std::count_if(text.begin(), text.end(), [](char byte) {
    return (static_cast<std::uint8_t>(byte) & 0xC0) != 0x80;
  });
  std::wstring result;
  result.reserve(static_cast<std::size_t>(count));
  for (std::size_t position = 0; position < text.size();)
    result += static_cast<wchar_t>(TakeCharacter(text, position));
  return result;
}

std::string ToUtf16Le(std::wstring_view text) {
  std::string result;
  result.reserve(text.size() * 2);
  const auto put = [&result](std::uint32_t unit) {
    result.push_back(static_cast<char>(unit & 0xFF));
    result.push_back(static_cast<char>(unit >> 8));
  };
  for (const wchar_t character : text) {
    const std::uint32_t code = ScalarValue(character);
    if (code < 0x10000) {
      put(code);
    } else {
      put(0xD800 + ((code - 0x10000) >> 10));
      put(0xDC00 + ((code - 0x10000) & 0x3FF));
    }
  }
  return result;
}

bool IsXmlText(std::wstring_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](wchar_t character) {
    const std::uint32_t code = CodeOf(character);
    if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
    return IsScalarValue(code) && code != 0xFFFE && code != 0xFFFF;
  });
}

bool IsNCName(std::wstring_view text) noexcept {
  if (text.empty() || !IsNameStart(CodeOf(text.front()))) return false;
  return std::all_of(text.begin() + 1, text.end(),
                     [](wchar_t character) { return IsNameCharacter(CodeOf(character)); });
}

}  // namespace cfgex::internal
