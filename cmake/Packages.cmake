# Debian packages, one per component: scripts/build-packages.sh makes them.
set(CFGEX_MAINTAINER "cfgex authors <cfgex@example.org>" CACHE STRING "Whom the packages name")

set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_CONTACT ${CFGEX_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_GROUPING IGNORE)
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
list(REMOVE_ITEM CPACK_COMPONENTS_ALL Unspecified)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# What Debian asks for besides what is installed: copyright, changelog, packed manual pages.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianFiles.cmake)
set(CPACK_CFGEX_SOURCE_DIR ${PROJECT_SOURCE_DIR})

# The first line of each description is its summary; a summary for all would come before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(about "cfgex keeps an application's settings in one XML file, which is valid
against the application's own XML Schema at every moment: typed fields,
nested objects, lists, and references between items.
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libcfgex${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "libxml2 (>= 2.9.14)")  # as CMakeLists.txt; its symbols ask for less
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "schema-driven configuration in one XML file
${about}
This is the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libcfgex-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "schema-driven configuration in one XML file (development)
${about}
These are the headers, the starter schema, and what CMake and pkg-config need.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME cfgexctl)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libxml2 (>= 2.9.14)")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "check, show and change files of schema-driven configuration
${about}
This is the command for people and scripts that look after such files.")

include(CPack)
