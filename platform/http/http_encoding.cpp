#include "platform/http/http_encoding.h"

#include <cstring>

#include "platform/text/format.h"

namespace platform {
namespace {

bool stays(char c, int flags) {
  const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  const bool digit = c >= '0' && c <= '9';
  const bool slash = c == '/' && (flags & HTTP_ENCODE_SLASH) == 0;
  return letter || digit || slash || (c != '\0' && std::strchr("-_.~", c) != nullptr);
}

}  // namespace

void http_encode_string_i(const char* text, int flags, std::string& output) {
  if (text == nullptr) return;
  for (; *text != '\0'; ++text) {
    if (stays(*text, flags)) {
      output += *text;
    } else if (*text == ' ' && (flags & HTTP_ENCODE_SPACE_AS_PLUS) != 0) {
      output += '+';
    } else {
      output += snprintf_t<4>("%%%02x", static_cast<unsigned>(static_cast<unsigned char>(*text))).c_str();
    }
  }
}

HTTP_Query_String_Builder& HTTP_Query_String_Builder::add(const char* key, const char* value, bool encode_key,
                                                          bool encode_value, const char* prefix) {
  if (key == nullptr || *key == '\0') return *this;
  if (follows_) text_ += '&';
  follows_ = true;

  if (prefix != nullptr) append(prefix, encode_key);
  append(key, encode_key);
  if (value != nullptr) {
    text_ += '=';
    append(value, encode_value);
  }
  return *this;
}

HTTP_Query_String_Builder& HTTP_Query_String_Builder::add(const char* key, std::uint64_t value, bool encode_key,
                                                          const char* prefix) {
  const snprintf_t<21> number("%llu", static_cast<unsigned long long>(value));
  return add(key, number.c_str(), encode_key, false, prefix);
}

HTTP_Query_String_Builder& HTTP_Query_String_Builder::add(const char* key, std::int64_t value, bool encode_key,
                                                          const char* prefix) {
  const snprintf_t<21> number("%lld", static_cast<long long>(value));
  return add(key, number.c_str(), encode_key, false, prefix);
}

void HTTP_Query_String_Builder::append(const char* text, bool encode) {
  if (encode) {
    http_encode_string_i(text, HTTP_ENCODE_SPACE_AS_PLUS | HTTP_ENCODE_SLASH, text_);
  } else {
    text_ += text;
  }
}

}  // namespace platform
