#include "cfgex/com_error.h"

#include <new>

#include "cfgex/unknown.h"

_com_error::_com_error(Code code, const char* what) noexcept : m_Code(code) {
  try {
    m_What = std::make_shared<const std::string>(what != nullptr ? what : "");
  } catch (const std::bad_alloc&) {
    m_What.reset();
  }
}

_com_error::~_com_error() = default;

const char* _com_error::what() const noexcept {
  return m_What != nullptr ? m_What->c_str() : "_com_error";
}

IUnknown::~IUnknown() = default;
