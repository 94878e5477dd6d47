#pragma once

#include <cstddef>
#include <string>

#include "platform/export.h"
#include "platform/json/value.h"

namespace platform::json {

// Replaces `value` with the one JSON value that `text` holds, by RFC 8259. Integers from -2^63 to 2^64 - 1 are exact,
// other numbers become real; of a key given twice the last counts.
//
// False, with `value` unchanged, for anything else: text that is not JSON or not UTF-8, anything but white space after
// the value, nesting beyond 64 levels, more than 16 Mi values, a real number beyond the range of a double. With
// `explain` other than 0 the cause is logged at LM_DEBUG. The same where memory runs out, which is logged in any case.
GUSTAIKRUM_EXPORT bool loads_json(const char* text, std::size_t length, Value& value, int explain);

// The JSON text of a value: on one line without blanks, or `pretty`, one element a line, indented by two.
//
// Always valid JSON: each byte that is not part of valid UTF-8 becomes U+FFFD, a real number without a finite value
// becomes null.
class GUSTAIKRUM_EXPORT JSON_Dump {
 public:
  // Writes the text at once; the value is not kept.
  JSON_Dump(const Value& value, bool pretty);

  // The text, in UTF-8; it lasts as long as this object.
  const char* c_str() const { return text_.c_str(); }
  const std::string& str() const { return text_; }

 private:
  std::string text_;
};

}  // namespace platform::json
