#include <algorithm>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <cmath>
#include <string_view>

#include "platform/json/text.h"

namespace platform::json {
namespace {

// The length of the UTF-8 sequence at the start of a text that is not empty; 0 if there is no valid one.
std::size_t sequence_length(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(0);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xC2 && lead < 0xE0 ? 2 : lead >= 0xE0 && lead < 0xF0 ? 3 : 4;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;

  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  const unsigned char second = byte(1);
  const bool overlong = (lead == 0xE0 && second < 0xA0) || (lead == 0xF0 && second < 0x90);
  const bool surrogate = lead == 0xED && second >= 0xA0;
  const bool beyond_unicode = lead == 0xF4 && second >= 0x90;
  return overlong || surrogate || beyond_unicode ? 0 : length;
}

std::string valid_utf8(std::string_view text) {
  std::string valid;
  valid.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = sequence_length(text);
    valid += length == 0 ? std::string_view("\xEF\xBF\xBD") : text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return valid;
}

// True for a text whose characters all stand for themselves in JSON, as in nearly every text they do.
bool is_plain(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < '\x7f' && c != '"' && c != '\\'; });
}

class Writer {
 public:
  Writer(std::string& text, bool pretty) : text_(text), pretty_(pretty) {}

  void write(const Value& value) {
    switch (value.type()) {
      case obj_type:
        return write_object(value.get_obj());
      case array_type:
        return write_array(value.get_array());
      case str_type:
        return write_string(value.get_str());
      case bool_type:
        text_ += value.get_bool() ? "true" : "false";
        return;
      case int_type:
        return write_integer(value);
      case real_type:
        return write_real(value.get_real());
      case null_type:
        text_ += "null";
        return;
    }
  }

 private:
  void write_string(const std::string& string) {
    if (!is_plain(string)) {
      text_ += boost::json::serialize(valid_utf8(string));
      return;
    }
    text_ += '"';
    text_ += string;
    text_ += '"';
  }

  void write_integer(const Value& value) {
    const bool negative = value.get_real() < 0;
    text_ += negative ? std::to_string(value.get_int64()) : std::to_string(value.get_uint64());
  }

  void write_real(double real) {
    text_ += std::isfinite(real) ? boost::json::serialize(boost::json::value(real)) : "null";
  }

  void write_object(const Object& object) {
    text_ += '{';
    bool first = true;
    ++depth_;
    for (const auto& [key, member] : object) {
      separate(first);
      write_string(key);
      text_ += pretty_ ? ": " : ":";
      write(member);
    }
    --depth_;
    if (!first) new_line();
    text_ += '}';
  }

  void write_array(const Array& array) {
    text_ += '[';
    bool first = true;
    ++depth_;
    for (const Value& element : array) {
      separate(first);
      write(element);
    }
    --depth_;
    if (!first) new_line();
    text_ += ']';
  }

  void separate(bool& first) {
    if (!first) text_ += ',';
    first = false;
    new_line();
  }

  void new_line() {
    if (!pretty_) return;
    text_ += '\n';
    text_.append(2 * depth_, ' ');
  }

  std::string& text_;
  const bool pretty_;
  std::size_t depth_ = 0;
};

}  // namespace

JSON_Dump::JSON_Dump(const Value& value, bool pretty) {
  Writer(text_, pretty).write(value);
}

}  // namespace platform::json
