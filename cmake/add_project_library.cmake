# add_project_library(<name> <objects> <headers>...): a shared library of this project, installed with its public
# headers, which are given relative to the calling folder. Exports what the version script <name>.map beside it names.
function(add_project_library name objects)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  add_library(${name} SHARED)
  target_link_libraries(${name} PRIVATE ${objects})
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_include_directories(${name} PUBLIC $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/gustaikrum>)
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR} FILES ${ARGN})
  target_link_options(${name} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
                                           LINK_DEPENDS ${map} INSTALL_RPATH $ORIGIN)

  install(TARGETS ${name} EXPORT gustaikrum
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
          FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/gustaikrum COMPONENT development)
endfunction()
