# The program that README.md shows has to be the one that is built: examples/list_systems.cpp.
file(READ ${ROOT}/README.md readme)
file(READ ${ROOT}/examples/list_systems.cpp program)
string(FIND "${readme}" "```cpp\n${program}```\n" place)
if(place EQUAL -1)
  message(FATAL_ERROR "README.md does not show examples/list_systems.cpp as it is")
endif()
