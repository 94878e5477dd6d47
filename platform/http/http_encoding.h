#pragma once

#include <cstdint>
#include <string>

#include "platform/export.h"

namespace platform {

// How a blank and a slash are encoded; the values are bits.
enum HTTP_Encode_Flag {
  HTTP_ENCODE_SPACE_AS_PLUS = 1,  // else "%20"
  HTTP_ENCODE_SLASH = 2           // else "/" stays
};

// Appends `text` to `output`, percent-encoded: A to Z, a to z, 0 to 9, "-", "_", "." and "~" stay, every other byte
// becomes "%" and two lower-case hexadecimal digits, except as `flags` (of HTTP_Encode_Flag) say. A null text adds
// nothing.
GUSTAIKRUM_EXPORT void http_encode_string_i(const char* text, int flags, std::string& output);

// Appends parameters to a query text that outlives it. Encoded means by http_encode_string_i() with both flags.
class GUSTAIKRUM_EXPORT HTTP_Query_String_Builder {
 public:
  // `follows`: the text already holds a parameter.
  HTTP_Query_String_Builder(std::string& text, bool follows) : text_(text), follows_(follows) {}

  // Appends "<prefix><key>=<value>", behind a "&" unless it is the first parameter. A null value leaves "=" out as
  // well; a null or empty key adds nothing at all. Numbers are decimal.
  HTTP_Query_String_Builder& add(const char* key, const char* value, bool encode_key, bool encode_value,
                                 const char* prefix = nullptr);
  HTTP_Query_String_Builder& add(const char* key, std::uint64_t value, bool encode_key, const char* prefix = nullptr);
  HTTP_Query_String_Builder& add(const char* key, std::int64_t value, bool encode_key, const char* prefix = nullptr);

 private:
  void append(const char* text, bool encode);

  std::string& text_;
  bool follows_;
};

}  // namespace platform
