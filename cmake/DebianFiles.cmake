# Completes the staged trees of the packages; CPack runs it before it packs them.
file(READ ${CPACK_CFGEX_SOURCE_DIR}/LICENSE licence)
string(REGEX MATCH "Copyright \\(c\\) ([^\n]*)\n\n(.*)" ignored "${licence}")
set(holders ${CMAKE_MATCH_1})
string(STRIP "${CMAKE_MATCH_2}" terms)
string(REGEX REPLACE "\n\n" "\n.\n" terms "${terms}")
string(REPLACE "\n" "\n " terms "${terms}")

file(STRINGS ${CPACK_CFGEX_SOURCE_DIR}/CHANGELOG.md entry
     REGEX "^## \\[${CPACK_PACKAGE_VERSION}\\] - [0-9-]+$")
if(NOT entry)
  message(FATAL_ERROR "CHANGELOG.md has no entry of version ${CPACK_PACKAGE_VERSION} with a date")
endif()
string(REGEX REPLACE ".* - " "" day ${entry})
execute_process(COMMAND date --utc --rfc-email --date=${day} OUTPUT_VARIABLE date
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)

function(pack_text file)
  execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
  file(CHMOD ${file}.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(staged ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
  set(doc ${staged}/doc/${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  file(MAKE_DIRECTORY ${doc})
  file(CHMOD ${staged} ${staged}/doc ${doc} PERMISSIONS ${CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})

  # The command carries parts of these in itself.
  set(parts)
  if(component STREQUAL tools)
    set(parts "Comment: Parts of other packages are in it; their terms are beside this file.\n")
    foreach(package IN ITEMS libcli11-dev nlohmann-json3-dev)
      file(COPY_FILE /usr/share/doc/${package}/copyright ${doc}/copyright.${package})
      file(CHMOD ${doc}/copyright.${package} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endforeach()
  endif()

  file(WRITE ${doc}/copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: cfgex

Files: *
Copyright: ${holders}
License: Expat
 ${terms}
${parts}")
  file(CHMOD ${doc}/copyright PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

  file(WRITE ${doc}/changelog.Debian
"cfgex (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}; what it brings: changelog.gz beside this file.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  pack_text(${doc}/changelog.Debian)
  file(COPY_FILE ${CPACK_CFGEX_SOURCE_DIR}/CHANGELOG.md ${doc}/changelog)
  pack_text(${doc}/changelog)

  file(GLOB pages ${staged}/man/man*/*.[0-9])
  foreach(page IN LISTS pages)
    pack_text(${page})
  endforeach()
endforeach()
