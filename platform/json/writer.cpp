#include <array>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <boost/locale/utf.hpp>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "platform/json/text.h"

namespace platform::json {
namespace {

// The text with a replacement character for each byte that belongs to no valid sequence.
std::string valid_utf8(const std::string& text) {
  using Utf8 = boost::locale::utf::utf_traits<char>;
  std::string valid;
  valid.reserve(text.size());
  for (auto at = text.begin(); at != text.end();) {
    auto end = at;
    const boost::locale::utf::code_point point = Utf8::decode(end, text.end());
    const bool is_valid = point != boost::locale::utf::illegal && point != boost::locale::utf::incomplete;
    if (!is_valid) end = at + 1;
    valid += is_valid ? std::string(at, end) : "\xEF\xBF\xBD";
    at = end;
  }
  return valid;
}

// Whether some of eight characters cannot stand for itself in a JSON text: control characters, '"', '\\' and what is
// not ASCII set the highest bit of their byte here. What they borrow from the byte beside them changes nothing more.
bool has_special(std::uint64_t characters) {
  constexpr std::uint64_t EACH = 0x0101010101010101;
  const std::uint64_t marks =
      characters | (characters - ' ' * EACH) | ((characters ^ '"' * EACH) - EACH) | ((characters ^ '\\' * EACH) - EACH);
  return (marks & (0x80 * EACH)) != 0;
}

// True for a text whose characters all stand for themselves, as in nearly every text they do.
bool is_plain(std::string_view text) {
  std::uint64_t eight = 0;
  for (; text.size() >= sizeof(eight); text.remove_prefix(sizeof(eight))) {
    std::memcpy(&eight, text.data(), sizeof(eight));
    if (has_special(eight)) return false;
  }
  std::memset(&eight, ' ', sizeof(eight));
  if (!text.empty()) std::memcpy(&eight, text.data(), text.size());
  return !has_special(eight);
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
    std::array<char, 20> digits;
    char* const begin = digits.data();
    char* const end = begin + digits.size();
    const char* const last = value.is_uint64() ? std::to_chars(begin, end, value.get_uint64()).ptr
                                               : std::to_chars(begin, end, value.get_int64()).ptr;
    text_.append(begin, static_cast<std::size_t>(last - begin));
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
