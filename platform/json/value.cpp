#include "platform/json/value.h"

#include <limits>
#include <stdexcept>
#include <utility>

namespace platform::json {
namespace {

[[noreturn]] void throw_not(const char* expected) {
  throw std::runtime_error(std::string("value is not ") + expected);
}

// Copies a plain alternative as it is and what is owned on the heap with its owner.
struct Deep_Copy {
  template <class T>
  T operator()(const T& plain) const {
    return plain;
  }
  template <class T>
  std::unique_ptr<T> operator()(const std::unique_ptr<T>& owned) const {
    return std::make_unique<T>(*owned);
  }
};

}  // namespace

Value::Value() noexcept = default;
Value::Value(const char* text) : data_(std::string(text == nullptr ? "" : text)) {}
Value::Value(std::string text) : data_(std::move(text)) {}
Value::Value(Array array) : data_(std::make_unique<Array>(std::move(array))) {}
Value::Value(Object object) : data_(std::make_unique<Object>(std::move(object))) {}
Value::Value(double real) : data_(real) {}
Value::Value(bool boolean) : data_(boolean) {}

Value::Value(const Value& other)
    : data_(std::visit([](const auto& data) { return decltype(data_)(Deep_Copy()(data)); }, other.data_)) {}
Value::Value(Value&& other) noexcept : data_(std::exchange(other.data_, {})) {}
Value& Value::operator=(const Value& other) {
  return *this = Value(other);
}
Value& Value::operator=(Value&& other) noexcept {
  // By way of a third value: the other one may be a part of this one.
  auto data = std::exchange(other.data_, {});
  data_.swap(data);
  return *this;
}
Value::~Value() = default;

Value_type Value::type() const noexcept {
  static constexpr Value_type TYPES[] = {null_type, bool_type, int_type,   int_type,
                                         real_type, str_type,  array_type, obj_type};
  return TYPES[data_.index()];
}

template <class T>
const T& Value::get(const char* expected) const {
  const T* data = std::get_if<T>(&data_);
  if (data == nullptr) throw_not(expected);
  return *data;
}

const std::string& Value::get_str() const {
  return get<std::string>("a string");
}
const Object& Value::get_obj() const {
  return *get<std::unique_ptr<Object>>("an object");
}
Object& Value::get_obj() {
  return *get<std::unique_ptr<Object>>("an object");
}
const Array& Value::get_array() const {
  return *get<std::unique_ptr<Array>>("an array");
}
Array& Value::get_array() {
  return *get<std::unique_ptr<Array>>("an array");
}
bool Value::get_bool() const {
  return get<bool>("a boolean");
}

std::uint64_t Value::get_uint64() const {
  return get<std::uint64_t>("a 64-bit unsigned integer");
}

std::int64_t Value::get_int64() const {
  if (const auto* negative = std::get_if<std::int64_t>(&data_)) return *negative;
  const auto* integer = std::get_if<std::uint64_t>(&data_);
  if (integer == nullptr || *integer > std::numeric_limits<std::int64_t>::max()) throw_not("a 64-bit signed integer");
  return static_cast<std::int64_t>(*integer);
}

int Value::get_int() const {
  const auto* negative = std::get_if<std::int64_t>(&data_);
  if (negative != nullptr && *negative >= std::numeric_limits<int>::min()) return static_cast<int>(*negative);
  const auto* integer = std::get_if<std::uint64_t>(&data_);
  if (integer == nullptr || *integer > std::numeric_limits<int>::max()) throw_not("a 32-bit signed integer");
  return static_cast<int>(*integer);
}

double Value::get_real() const {
  if (const auto* negative = std::get_if<std::int64_t>(&data_)) return static_cast<double>(*negative);
  if (const auto* integer = std::get_if<std::uint64_t>(&data_)) return static_cast<double>(*integer);
  return get<double>("a number");
}

}  // namespace platform::json
