#include <locale.h>
#include <stdlib.h>

#include <boost/json/basic_parser_impl.hpp>
#include <boost/system/error_code.hpp>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "platform/json/text.h"
#include "platform/log/failed.h"
#include "platform/log/log.h"

namespace platform::json {
namespace {

using boost::json::error;
using boost::json::string_view;
using boost::system::error_code;

constexpr std::size_t MAX_DEPTH = 64;
constexpr std::size_t MAX_VALUES = std::size_t{16} << 20;

// Builds our value from the parser's events. Texts and numbers may arrive in parts.
class Tree_Builder {
 public:
  static constexpr std::size_t max_object_size = MAX_VALUES;
  static constexpr std::size_t max_array_size = MAX_VALUES;
  static constexpr std::size_t max_key_size = static_cast<std::size_t>(-1);
  static constexpr std::size_t max_string_size = static_cast<std::size_t>(-1);

  Value take_root() { return std::move(root_); }

  bool on_document_begin(error_code&) { return true; }
  bool on_document_end(error_code&) { return true; }
  bool on_object_begin(error_code& ec) { return open(Object(), ec); }
  bool on_object_end(std::size_t, error_code&) { return close(); }
  bool on_array_begin(error_code& ec) { return open(Array(), ec); }
  bool on_array_end(std::size_t, error_code&) { return close(); }
  bool on_key_part(string_view part, std::size_t, error_code&) { return append(part); }
  bool on_key(string_view part, std::size_t, error_code&) {
    append(part);
    keys_.back() = std::exchange(text_, {});
    return true;
  }
  bool on_string_part(string_view part, std::size_t, error_code&) { return append(part); }
  bool on_string(string_view part, std::size_t, error_code& ec) {
    append(part);
    return add(std::exchange(text_, {}), ec) != nullptr;
  }
  bool on_number_part(string_view part, error_code&) { return append(part); }
  bool on_int64(std::int64_t number, string_view, error_code& ec) { return add_number(number, ec); }
  bool on_uint64(std::uint64_t number, string_view, error_code& ec) { return add_number(number, ec); }
  bool on_double(double, string_view part, error_code& ec) {
    append(part);
    // The parser's own conversion can miss the last bit, and which numbers it finds too large depends on its version.
    const double number = ::strtod_l(text_.c_str(), nullptr, c_locale());
    if (!std::isfinite(number)) return fail(error::exponent_overflow, ec);
    return add_number(number, ec);
  }
  bool on_bool(bool boolean, error_code& ec) { return add(boolean, ec) != nullptr; }
  bool on_null(error_code& ec) { return add(Value(), ec) != nullptr; }
  bool on_comment_part(string_view, error_code&) { return true; }
  bool on_comment(string_view, error_code&) { return true; }

 private:
  static locale_t c_locale() {
    static const locale_t c = ::newlocale(LC_ALL_MASK, "C", locale_t{});  // made of what is there: it cannot fail
    return c;
  }

  static bool fail(error cause, error_code& ec) {
    ec = cause;
    return false;
  }

  bool append(string_view part) {
    text_.append(part.data(), part.size());
    return true;
  }

  template <class Number>
  bool add_number(Number number, error_code& ec) {
    text_.clear();
    return add(number, ec) != nullptr;
  }

  // Puts the value where the text has got to. A container's address holds while it is open: nothing is added to the
  // one around it meanwhile.
  Value* add(Value value, error_code& ec) {
    if (++count_ > MAX_VALUES) {
      fail(error::array_too_large, ec);
      return nullptr;
    }
    if (open_.empty()) return &(root_ = std::move(value));
    if (open_.back()->type() == obj_type) {
      const auto added = open_.back()->get_obj().insert_or_assign(std::move(keys_.back()), std::move(value));
      return &added.first->second;
    }
    return &open_.back()->get_array().emplace_back(std::move(value));
  }

  bool open(Value container, error_code& ec) {
    Value* const added = add(std::move(container), ec);
    if (added == nullptr) return false;
    open_.push_back(added);
    keys_.emplace_back();
    return true;
  }

  bool close() {
    open_.pop_back();
    keys_.pop_back();
    return true;
  }

  Value root_;
  std::vector<Value*> open_;       // the containers around the next value, outermost first
  std::vector<std::string> keys_;  // the latest key of each, where it is an object
  std::string text_;               // the parts so far of a text, key or number
  std::size_t count_ = 0;
};

}  // namespace

bool loads_json(const char* text, std::size_t length, Value& value, int explain) try {
  boost::json::parse_options options;
  options.max_depth = MAX_DEPTH;
  boost::json::basic_parser<Tree_Builder> parser(options);
  error_code ec;
  const std::size_t read = parser.write_some(false, text, length, ec);
  if (!ec && read < length) ec = error::extra_data;
  if (ec) {
    if (explain != 0) log_debug("Failed to read JSON text: byte %Q: %s\n", std::uint64_t{read}, ec.message().c_str());
    return false;
  }

  value = parser.handler().take_root();
  return true;
} catch (...) {
  return failed();
}

}  // namespace platform::json
