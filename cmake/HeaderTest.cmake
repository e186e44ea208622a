# Every public header compiles alone and may be included twice. One source per header is generated;
# it sees the public headers and no others.
file(GLOB cfgex_public_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/include
     ${PROJECT_SOURCE_DIR}/include/cfgex/*.h)
list(APPEND cfgex_public_headers cfgex/version.h)  # generated
set(cfgex_header_sources)
foreach(header IN LISTS cfgex_public_headers)
  string(MAKE_C_IDENTIFIER ${header} name)
  set(source ${PROJECT_BINARY_DIR}/header_test/${name}.cpp)
  file(CONFIGURE OUTPUT ${source} CONTENT "#include <@header@>\n#include <@header@>\n" @ONLY)
  list(APPEND cfgex_header_sources ${source})
endforeach()
add_library(cfgex_header_test OBJECT ${cfgex_header_sources})
target_include_directories(cfgex_header_test PRIVATE ${PROJECT_SOURCE_DIR}/include
                           ${cfgex_generated_include})
target_compile_features(cfgex_header_test PRIVATE cxx_std_20)
target_link_libraries(cfgex_header_test PRIVATE cfgex_options)
