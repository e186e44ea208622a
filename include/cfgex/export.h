// Which symbols the shared library hands out: what is marked CFGEX_API, but for the private parts
// of it, and nothing else.
#pragma once

#define CFGEX_API __attribute__((visibility("default")))
#define CFGEX_PRIVATE __attribute__((visibility("hidden")))
