#include "cfgex/cfg_exception.h"

CCfgExException::CCfgExException(int code, const wchar_t* file, int line) noexcept
    : OS::CException(code, file, line) {}

CCfgExException::~CCfgExException() = default;
