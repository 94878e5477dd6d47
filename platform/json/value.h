#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "platform/export.h"

namespace platform::json {

class Value;
// An object's members by name, each name once; an array's elements in their order.
using Object = std::map<std::string, Value>;
using Array = std::vector<Value>;

// What a value holds.
enum Value_type {
  obj_type,    // members by name
  array_type,  // elements in their order
  str_type,    // a text in UTF-8
  bool_type,   // true or false
  int_type,    // an integer, signed or unsigned
  real_type,   // any other number
  null_type    // JSON's null
};

// One JSON value: null, a bool, an integer from -2^63 to 2^64 - 1, a real number, a text, an array or an object.
//
// Copies are deep; a moved-from value is null, and a move throws nothing. Copying, destroying and writing a value
// recurse once for each level of nesting: what loads_json() reads is flat enough, what a program nests by itself is
// its own care. A getter throws std::runtime_error if the value is of another type or does not fit.
class GUSTAIKRUM_EXPORT Value {
 public:
  // Null without an argument, else a value of the argument's type; a null pointer to characters is the empty text.
  Value() noexcept;
  Value(const char* text);
  Value(std::string text);
  Value(Array array);
  Value(Object object);
  Value(double real);
  Value(bool boolean);
  template <class Integer, std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>, bool> = true>
  Value(Integer integer) {
    if (integer < 0) {
      data_ = static_cast<std::int64_t>(integer);
    } else {
      data_ = static_cast<std::uint64_t>(integer);
    }
  }
  template <class T, std::enable_if_t<!std::is_same_v<std::remove_cv_t<T>, char>, bool> = true>
  Value(T*) = delete;  // a pointer is no bool

  // Copies are deep, and what is moved from is null.
  Value(const Value& other);
  Value(Value&& other) noexcept;
  Value& operator=(const Value& other);
  Value& operator=(Value&& other) noexcept;
  ~Value();

  // What it holds, and whether that is null.
  Value_type type() const noexcept;
  bool is_null() const noexcept { return type() == null_type; }

  // True for an integer that is not negative.
  bool is_uint64() const noexcept { return std::holds_alternative<std::uint64_t>(data_); }

  // What it holds, if that is of the type asked for; std::runtime_error otherwise. References last until the value
  // changes.
  const std::string& get_str() const;
  const Object& get_obj() const;
  Object& get_obj();
  const Array& get_array() const;
  Array& get_array();
  bool get_bool() const;

  // A number, if it is of the type asked for; std::runtime_error otherwise. A real number is no integer, 5.0 included;
  // neither is a number beyond the type's range.
  int get_int() const;
  std::int64_t get_int64() const;
  std::uint64_t get_uint64() const;

  // Any number, an integer too, as the nearest double; std::runtime_error for what is no number.
  double get_real() const;

 private:
  template <class T>
  const T& get(const char* expected) const;

  // An integer is signed just if it is negative.
  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, std::unique_ptr<Array>,
               std::unique_ptr<Object>>
      data_;
};

}  // namespace platform::json
