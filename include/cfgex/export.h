/// @file
/// Which symbols the shared library hands out: what is marked CFGEX_API, but for the private parts
/// of it, and nothing else.
#pragma once

#if __cplusplus < 202002L
#error "cfgex needs C++20: compile with -std=c++20 or newer"
#else

/// Of the interface: the shared library hands it out.
#define CFGEX_API __attribute__((visibility("default")))
/// The private part of a class of the interface.
#define CFGEX_PRIVATE __attribute__((visibility("hidden")))

#endif
