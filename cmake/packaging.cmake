# `cpack` makes a Debian pair, the libraries and what programs are built with, and debug symbols beside.
get_target_property(soversion gustaikrum SOVERSION)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Gustaikrum maintainers <maintainers@gustaikrum.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON) # takes them out of the files themselves, too

set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libgustaikrum${soversion})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgustaikrum-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libgustaikrum${soversion} (= ${PROJECT_VERSION}), libace-dev, libboost-dev")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(what "For backup software: finds systems and instances, runs SQL through\nhdbsql, starts and stops instances, reads the \
names of backups, and keeps\nBackint jobs in a catalog service.\n\nThis package holds")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${what} the two shared libraries.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "${what} what programs are built with: headers, CMake and\npkg-config files.")

# What a Debian package says of itself beside its files.
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(package ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
          DESTINATION share/doc/${package} COMPONENT ${component})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/lintian-overrides DESTINATION share/lintian/overrides
        RENAME ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} COMPONENT runtime)

include(CPack)
