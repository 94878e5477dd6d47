#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/export.h"

namespace platform {

// The header fields that the library looks at, by the numbers that HTTP_Headers takes.
enum HTTP_Header_Id {
  HTTP_HEADER_CONNECTION = 8,         // Connection
  HTTP_HEADER_CONTENT_LENGTH = 12,    // Content-Length
  HTTP_HEADER_CONTENT_TYPE = 16,      // Content-Type
  HTTP_HEADER_TRANSFER_ENCODING = 40  // Transfer-Encoding
};

// A message's header fields by HTTP_Header_Id. A field may stand on several lines.
class GUSTAIKRUM_EXPORT HTTP_Headers {
 public:
  // The field's lines, `all` of them joined by ", " or else the first alone; nothing if there is none.
  std::optional<std::string> get(int id, bool all) const;

  // Adds a line to the field, after taking earlier ones away where `replace` is true. A null value adds none.
  void put(int id, const char* value, bool replace);

 private:
  std::map<int, std::vector<std::string>> lines_;
};

// True if `token` is an element of the list `value`, whose elements `separator` parts; blanks around an element and
// upper or lower case do not count. A null value is an empty list.
GUSTAIKRUM_EXPORT bool http_header_value_match(const char* value, const char* token, char separator);

}  // namespace platform
