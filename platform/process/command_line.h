#pragma once

#include <algorithm>
#include <boost/regex.hpp>
#include <cstddef>
#include <string_view>

#include "platform/log/log.h"

namespace platform {

// Joins the arguments that "/proc" shows of a process by blanks, in place. Each ends with a NUL; a program that gives
// itself a title may leave many of them at the end.
inline std::string_view join_arguments(char* text, std::size_t length) {
  while (length > 0 && text[length - 1] == '\0')
    --length;
  std::replace(text, text + length, '\0', ' ');
  return {text, length};
}

// Whether the pattern is found in a command line. A search that grows too complex finds nothing.
inline bool is_in_command_line(const boost::regex& pattern, std::string_view command_line) {
  try {
    return boost::regex_search(command_line.begin(), command_line.end(), pattern);
  } catch (const std::exception& error) {
    log_debug("Failed to search a command line: %s\n", error.what());
    return false;
  }
}

}  // namespace platform
