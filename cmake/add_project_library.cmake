# add_project_library(<name> <objects> <headers>...): a shared library of this project, installed with its public
# headers, which are given relative to the calling folder. Exports what the version script <name>.map beside it names.
function(add_project_library name objects)
  set(map ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  # While the major version is 0, each minor one may break the ABI.
  set(soversion ${PROJECT_VERSION_MAJOR})
  if(soversion EQUAL 0)
    set(soversion 0.${PROJECT_VERSION_MINOR})
  endif()
  add_library(${name} SHARED $<TARGET_OBJECTS:${objects}>)
  add_library(gustaikrum::${name} ALIAS ${name})
  target_compile_features(${name} PUBLIC cxx_std_17)
  target_include_directories(${name} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                                            $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/gustaikrum>)
  target_link_libraries(${name} PRIVATE gustaikrum_build)
  target_link_options(${name} PRIVATE -Wl,--version-script=${map} -Wl,--no-undefined)
  set_target_properties(${name} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${soversion} LINKER_LANGUAGE CXX GUSTAIKRUM_SHIPPED ON
                                           LINK_DEPENDS ${map} INSTALL_RPATH $ORIGIN)

  install(TARGETS ${name} EXPORT gustaikrum
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
  install_headers(${ARGN})
endfunction()

# An installed header finds the project's others from where it lies itself, whatever the program that includes it has
# of the same name.
function(install_headers)
  foreach(header IN LISTS ARGN)
    set(source ${CMAKE_CURRENT_SOURCE_DIR}/${header})
    set_property(GLOBAL APPEND PROPERTY GUSTAIKRUM_HEADERS ${source})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${source})
    get_filename_component(folder ${path} DIRECTORY)
    file(RELATIVE_PATH up /${folder} /)
    file(READ ${source} text)
    string(REPLACE "#include \"" "#include \"${up}" text "${text}")
    file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/include/${path} CONTENT "${text}")
    install(FILES ${PROJECT_BINARY_DIR}/include/${path} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/gustaikrum/${folder}
            COMPONENT development)
  endforeach()
endfunction()
