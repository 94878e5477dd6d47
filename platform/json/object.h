#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "platform/export.h"
#include "platform/json/value.h"

namespace platform::json {

// The lenient getters: true, with `field` replaced, if the object has the key with a value of the field's type. False,
// with `field` unchanged and nothing thrown or logged, for a missing key and for any other value: a negative number is
// no unsigned one, 5.0 and 2^64 are no integers.
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, std::string& field);
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, std::uint64_t& field);
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, std::int64_t& field);
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, int& field);
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, Array& field);
GUSTAIKRUM_EXPORT bool object_get(const Object& object, const char* key, Object& field);

// The strict getters: the key's value. They throw std::runtime_error, which names the key, if it is missing or of
// another type, as above. A reference lasts as long as the object's member.
GUSTAIKRUM_EXPORT const std::string& object_get_str_or_throw(const Object& object, const char* key);
GUSTAIKRUM_EXPORT std::uint64_t object_get_uint64_or_throw(const Object& object, const char* key);
GUSTAIKRUM_EXPORT std::int64_t object_get_int64_or_throw(const Object& object, const char* key);
GUSTAIKRUM_EXPORT const Array& object_get_array_or_throw(const Object& object, const char* key);

// Writes keys into an object that outlives it: insert(object)("sid", sid)("size", size). A key's earlier value is
// replaced.
class Object_Inserter {
 public:
  // Keeps a reference to the object.
  explicit Object_Inserter(Object& object) : object_(object) {}

  // Sets one key, and is itself again for the next one.
  Object_Inserter& operator()(const char* key, Value value) {
    object_[key] = std::move(value);
    return *this;
  }

 private:
  Object& object_;
};

// Begins such a row of keys.
inline Object_Inserter insert(Object& object) {
  return Object_Inserter(object);
}

// Reads keys leniently out of an object that outlives it: extract(object)("sid", sid)("size", size).
class Const_Object_Extractor {
 public:
  // Keeps a reference to the object.
  explicit Const_Object_Extractor(const Object& object) : object_(object) {}

  // Replaces `field` by the key's value, as object_get() does; without one it stays as it is.
  template <class Field>
  const Const_Object_Extractor& operator()(const char* key, Field& field) const {
    object_get(object_, key, field);
    return *this;
  }

 private:
  const Object& object_;
};

// Begins such a row of keys.
inline Const_Object_Extractor extract(const Object& object) {
  return Const_Object_Extractor(object);
}

// Reads keys out of an object that outlives it, each of them strictly or leniently. What was read before a strict key
// failed stays in its field.
class Const_Object_Throw_Extractor {
 public:
  // Keeps a reference to the object.
  explicit Const_Object_Throw_Extractor(const Object& object) : object_(object) {}

  // Replaces `field` by the key's value. Where there is none of its type, `throw_` has it throw std::runtime_error,
  // which names the key, and else `field` stays as it is.
  template <class Field>
  const Const_Object_Throw_Extractor& operator()(const char* key, Field& field, bool throw_) const {
    if (throw_) {
      get_or_throw(key, field);
    } else {
      object_get(object_, key, field);
    }
    return *this;
  }

 private:
  void get_or_throw(const char* key, std::string& field) const { field = object_get_str_or_throw(object_, key); }
  void get_or_throw(const char* key, std::uint64_t& field) const { field = object_get_uint64_or_throw(object_, key); }
  void get_or_throw(const char* key, std::int64_t& field) const { field = object_get_int64_or_throw(object_, key); }
  void get_or_throw(const char* key, Array& field) const { field = object_get_array_or_throw(object_, key); }

  const Object& object_;
};

// Begins such a row of keys.
inline Const_Object_Throw_Extractor extract_or_throw(const Object& object) {
  return Const_Object_Throw_Extractor(object);
}

}  // namespace platform::json
