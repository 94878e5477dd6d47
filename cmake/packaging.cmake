# `cpack` makes Debian packages: the libraries, what programs are built with, the tools, and debug symbols beside.
get_target_property(soversion gustaikrum SOVERSION)
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "Gustaikrum maintainers <maintainers@gustaikrum.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY ${PROJECT_DESCRIPTION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET gustaikrum-report)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libgustaikrum${soversion})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON) # takes the symbols out of the files themselves, too
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgustaikrum-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "libgustaikrum${soversion} (= ${PROJECT_VERSION}), libace-dev, libboost-dev")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME gustaikrum-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/hana ${PROJECT_BINARY_DIR}/platform)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libgustaikrum${soversion} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(what "For backup software: finds systems and instances, runs SQL through\nhdbsql, starts and stops instances, reads the \
names of backups, and keeps\nBackint jobs in a catalog service.\n\nThis package holds")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${what} the two shared libraries.")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
    "${what} what programs are built with: headers, CMake and\npkg-config files.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "${what} programs that report on a host, start and stop\ninstances, and simulate a host to try an agent on.")

# What a Debian package says of itself beside its files.
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/debian/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} key)
  set(package ${CPACK_DEBIAN_${key}_PACKAGE_NAME})
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/debian/copyright
          DESTINATION share/doc/${package} COMPONENT ${component})
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION share/doc/${CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME}
        COMPONENT development FILES_MATCHING PATTERN *.cpp PATTERN *.h)
install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/lintian-overrides DESTINATION share/lintian/overrides
        RENAME ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} COMPONENT runtime)

include(CPack)
