# What is installed, in three components:
#   runtime      the shared library
#   development  headers, the starter schema, and what find_package and pkg-config read
#   tools        the command with its manual page (tools/ installs it)
# All of it finds its parts from where it lies, so that an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(cfgex_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/cfgex)
set(cfgex_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(cfgex_schema_dir ${CMAKE_INSTALL_DATADIR}/cfgex)

install(TARGETS cfgex EXPORT cfgex-targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
                NAMELINK_COMPONENT development)
install(DIRECTORY include/cfgex ${cfgex_generated_include}/cfgex
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development FILES_MATCHING PATTERN "*.h")
install(DIRECTORY schema/ DESTINATION ${cfgex_schema_dir} COMPONENT development
        FILES_MATCHING PATTERN "*.xsd")

install(EXPORT cfgex-targets NAMESPACE cfgex:: DESTINATION ${cfgex_config_dir} COMPONENT development)
configure_package_config_file(
  cmake/cfgex-config.cmake.in ${PROJECT_BINARY_DIR}/cmake/cfgex-config.cmake
  INSTALL_DESTINATION ${cfgex_config_dir} PATH_VARS cfgex_schema_dir
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/cfgex-config-version.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/cfgex-config.cmake
              ${PROJECT_BINARY_DIR}/cmake/cfgex-config-version.cmake
        DESTINATION ${cfgex_config_dir} COMPONENT development)

# pkg-config reckons from the directory of the file, unless a directory was given as a whole path.
set(cfgex_pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT IS_ABSOLUTE ${cfgex_pkgconfig_dir})
  file(RELATIVE_PATH up /${cfgex_pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" up ${up})
  set(cfgex_pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(name IN ITEMS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR cfgex_schema_dir)
  set(pc_${name} ${${name}})
  if(NOT IS_ABSOLUTE ${${name}})
    set(pc_${name} "\${prefix}/${${name}}")
  endif()
endforeach()
configure_file(cmake/cfgex.pc.in ${PROJECT_BINARY_DIR}/cmake/cfgex.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/cmake/cfgex.pc DESTINATION ${cfgex_pkgconfig_dir}
        COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/Packages.cmake)
endif()
