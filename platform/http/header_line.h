#pragma once

#include <strings.h>

#include <string>
#include <string_view>
#include <utility>

#include "platform/http/http_headers.h"

namespace platform {

// Takes a line of a response's header, "Content-Length: 5\r\n", if it is one of the headers that are kept: the value
// without the blanks around it is added to those of the same name. False, with nothing added, for a length that
// is none or contradicts the one before.
inline bool add_header_line(std::string_view line, HTTP_Headers& headers) {
  static constexpr std::pair<std::string_view, HTTP_Header_Id> NAMES[] = {
      {"Connection:", HTTP_HEADER_CONNECTION},
      {"Content-Length:", HTTP_HEADER_CONTENT_LENGTH},
      {"Content-Type:", HTTP_HEADER_CONTENT_TYPE},
      {"Transfer-Encoding:", HTTP_HEADER_TRANSFER_ENCODING},
  };
  for (const auto& [name, id] : NAMES) {
    if (line.size() < name.size() || ::strncasecmp(line.data(), name.data(), name.size()) != 0) continue;
    std::string value(line.substr(name.size()));
    value.erase(0, value.find_first_not_of(" \t"));
    value.erase(value.find_last_not_of(" \t\r\n") + 1);
    const bool is_number = value.find_first_not_of("0123456789") == std::string::npos;
    if (id == HTTP_HEADER_CONTENT_LENGTH && (!is_number || headers.get(id, false).value_or(value) != value))
      return false;
    headers.put(id, value.c_str(), false);
  }
  return true;
}

}  // namespace platform
