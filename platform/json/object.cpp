#include "platform/json/object.h"

#include <stdexcept>
#include <utility>

namespace platform::json {
namespace {

// `get` is one of Value's getters.
template <class Field, class Getter>
bool get_leniently(const Object& object, const char* key, Field& field, Getter get) {
  const auto member = object.find(key);
  if (member == object.end()) return false;
  try {
    // By way of a copy: the value may be a part of the field.
    Field value = (member->second.*get)();
    field = std::move(value);
    return true;
  } catch (const std::runtime_error&) {
    return false;
  }
}

template <class Getter>
decltype(auto) get_strictly(const Object& object, const char* key, Getter get) {
  const auto member = object.find(key);
  if (member == object.end()) throw std::runtime_error(std::string("key '") + key + "' is missing");
  try {
    return (member->second.*get)();
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("key '") + key + "': " + error.what());
  }
}

using Get_Array = const Array& (Value::*)() const;
using Get_Object = const Object& (Value::*)() const;

}  // namespace

bool object_get(const Object& object, const char* key, std::string& field) {
  return get_leniently(object, key, field, &Value::get_str);
}
bool object_get(const Object& object, const char* key, std::uint64_t& field) {
  return get_leniently(object, key, field, &Value::get_uint64);
}
bool object_get(const Object& object, const char* key, std::int64_t& field) {
  return get_leniently(object, key, field, &Value::get_int64);
}
bool object_get(const Object& object, const char* key, int& field) {
  return get_leniently(object, key, field, &Value::get_int);
}
bool object_get(const Object& object, const char* key, Array& field) {
  return get_leniently(object, key, field, Get_Array{&Value::get_array});
}
bool object_get(const Object& object, const char* key, Object& field) {
  return get_leniently(object, key, field, Get_Object{&Value::get_obj});
}

const std::string& object_get_str_or_throw(const Object& object, const char* key) {
  return get_strictly(object, key, &Value::get_str);
}
std::uint64_t object_get_uint64_or_throw(const Object& object, const char* key) {
  return get_strictly(object, key, &Value::get_uint64);
}
std::int64_t object_get_int64_or_throw(const Object& object, const char* key) {
  return get_strictly(object, key, &Value::get_int64);
}
const Array& object_get_array_or_throw(const Object& object, const char* key) {
  return get_strictly(object, key, Get_Array{&Value::get_array});
}

}  // namespace platform::json
