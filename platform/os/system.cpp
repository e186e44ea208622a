#include "platform/os/system.h"

#include <unistd.h>

#include <chrono>
#include <cwchar>

#include "platform/os/fault_point.h"

namespace OS {

using cfgex::internal::FaultHere;
using cfgex::internal::FaultPoint;

std::uint32_t GetTickCount() noexcept {
  using namespace std::chrono;
  const auto now = steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(now).count());
}

bool CoCreateGuid(GUID& guid) noexcept {
  if (FaultHere(FaultPoint::kGetrandom)) return false;
  GUID result{};
  if (::getentropy(result.bytes.data(), result.bytes.size()) != 0) return false;
  const auto mark = [&result](std::size_t at, unsigned mask, unsigned bits) {
    result.bytes[at] = static_cast<std::uint8_t>((result.bytes[at] & mask) | bits);
  };
  mark(6, 0x0F, 0x40);  // version 4
  mark(8, 0x3F, 0x80);  // the variant of the RFC
  guid = result;
  return true;
}

int StringFromGUID2(const GUID& guid, wchar_t* buffer, int size) noexcept {
  constexpr int kLength = 39;  // 32 digits, 4 hyphens, 2 braces, the null character
  if (buffer == nullptr || size < kLength) return 0;
  wchar_t* out = buffer;
  *out++ = L'{';
  for (std::size_t i = 0; i < guid.bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) *out++ = L'-';
    *out++ = L"0123456789ABCDEF"[guid.bytes[i] >> 4];
    *out++ = L"0123456789ABCDEF"[guid.bytes[i] & 0x0F];
  }
  *out++ = L'}';
  *out = L'\0';
  return kLength;
}

std::uint32_t _wtoi(const wchar_t* text) noexcept {
  if (text == nullptr) return 0;
  while (*text == L' ' || (*text >= L'\t' && *text <= L'\r')) ++text;
  const bool negative = *text == L'-';
  if (*text == L'-' || *text == L'+') ++text;
  std::uint32_t number = 0;
  for (; *text >= L'0' && *text <= L'9'; ++text) {
    number = number * 10 + static_cast<std::uint32_t>(*text - L'0');
  }
  return negative ? 0 - number : number;
}

bool SplitStringToTokensW(std::vector<x_wstring>* tokens, const x_wstring& text,
                          const wchar_t* separator) {
  if (tokens == nullptr || separator == nullptr || *separator == L'\0') return false;
  const std::wstring& whole = text.str();
  const std::size_t length = std::wcslen(separator);
  std::size_t begin = 0;
  for (std::size_t end; (end = whole.find(separator, begin)) != std::wstring::npos;
       begin = end + length)
    tokens->emplace_back(whole.substr(begin, end - begin));
  tokens->emplace_back(whole.substr(begin));
  return true;
}

}  // namespace OS
