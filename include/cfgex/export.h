// Which symbols the shared library hands out: what is marked CFGEX_API, and nothing else.
#pragma once

#define CFGEX_API __attribute__((visibility("default")))
