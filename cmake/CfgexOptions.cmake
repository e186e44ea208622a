# How everything of the project is compiled; nothing of it reaches those who use the library.
add_library(cfgex_options INTERFACE)
target_compile_options(cfgex_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(CFGEX_WARNINGS_AS_ERRORS)
  target_compile_options(cfgex_options INTERFACE -Werror)
endif()
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # It takes the sources of a unit for headers, in which unnamed namespaces would be faults.
  target_compile_options(cfgex_options INTERFACE -Wno-subobject-linkage)
endif()
if(CFGEX_SANITIZE)
  # The flags go everywhere: half a sanitized program is none.
  add_compile_options(-fsanitize=${CFGEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CFGEX_SANITIZE})
  add_compile_definitions(CFGEX_SANITIZED)  # tests take smaller sizes, and measure no memory
endif()
if(CFGEX_BUILD_FUZZERS)
  # The fuzzer is guided by what of this code an input reaches.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
