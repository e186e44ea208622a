#include "cfgex/version.h"

const wchar_t* CCfgEx_GetVersion() noexcept { return CFGEX_VERSION_TEXT; }
