# What makes an attacker's work harder, as far as the compiler has it, in targets with the property GUSTAIKRUM_SHIPPED:
# those that are installed. A sanitizer looks deeper by itself.
set(shipped $<BOOL:$<TARGET_PROPERTY:GUSTAIKRUM_SHIPPED>>)
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  # A compiler that does not know level 3 warns of it.
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 12)
    set(level 2)
  else()
    set(level 3)
  endif()
  target_compile_options(gustaikrum_build INTERFACE
                         "$<$<AND:${shipped},$<NOT:$<CONFIG:Debug>>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${level}>")
  target_compile_definitions(gustaikrum_build INTERFACE $<${shipped}:_GLIBCXX_ASSERTIONS>)
  include(CheckCXXCompilerFlag)
  foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "HAVE${flag}" known)
    check_cxx_compiler_flag(${flag} ${known})
    if(${known})
      target_compile_options(gustaikrum_build INTERFACE $<${shipped}:${flag}>)
    endif()
  endforeach()
endif()
target_link_options(gustaikrum_build INTERFACE $<${shipped}:-Wl,-z,relro> $<${shipped}:-Wl,-z,now>
                                               $<${shipped}:-Wl,-z,noexecstack>)
