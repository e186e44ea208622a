#include "cfgex/os_exception.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include "cfgex/cfg_exception.h"

namespace OS {

CException::CException(int code, const wchar_t* file, int line) noexcept
    : m_Code(code), m_Line(line) {
  if (file == nullptr) return;
  const std::size_t length = std::wcslen(file);
  const std::size_t kept = std::min(length, std::size(m_File) - 1);
  std::copy_n(file + (length - kept), kept, m_File);
}

CException::~CException() = default;

int CException::GetErrorCode() const { return m_Code; }

x_wstring CException::GetErrorMsg() const {
  switch (m_Code) {
    case CFGEX_ERROR_INDEX_OUT_OF_RANGE:
      return L"The index is at or past the end of the array.";
    case CFGEX_ERROR_OUT_OF_MEMORY:
      return L"Not enough memory for a new object.";
    default:
      return L"Unknown error.";
  }
}

x_wstring CException::GetErrorMsgEx() const {
  x_wstring text;
  text.Format(L"%s (error %d, %s, line %d)", GetErrorMsg().c_str(), m_Code, m_File, m_Line);
  return text;
}

}  // namespace OS
